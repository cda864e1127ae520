// How the server's stream is held while a block is read or written, for the server's own files.
#pragma once

#include "persistence/ResourceFileFormat.h"
#include "persistence/ResourceFileServer.h"

/// Holds the stream for one block, compressed when it should be; the stream is plain afterwards,
/// whatever happens. An object that uses its own file while it is read or written is refused.
class ResourceFileServer::Plain {
  public:
    Plain(ResourceFileServer & server, bool compressed) : server_(server) {
        server_.busy_ = true;
        if (compressed)
            server_.stream_->turn_to_comp(true);
    }
    ~Plain() {
        if (server_.stream_->is_comp())
            server_.stream_->turn_to_norm();
        server_.busy_ = false;
    }
    Plain(Plain const &) = delete;
    Plain & operator=(Plain const &) = delete;

  private:
    ResourceFileServer & server_;
};

/// A block that is being written behind the last one, where the stream stands.
class ResourceFileServer::Storing {
  public:
    Storing(ResourceFileServer & server, bool compressed)
        : server_(server), plain_(server, compressed) {}

    /// Ends the block and makes it that of the item. False when it could not be written whole: the
    /// item keeps what it had.
    bool finish(ResourceItem & item) {
        zpstream & stream = *server_.stream_;
        auto const rawSize = static_cast<std::int32_t>(stream.countOfWrittenBytes());
        long const end = stream.turn_to_norm() - server_.basePosition_;
        stream.flush(); // tells whether any byte was lost
        if (!server_.ends_in_reach(end, 0))
            return false;
        item.offset = static_cast<std::int32_t>(server_.endPosition_);
        item.size = static_cast<std::int32_t>(end - server_.endPosition_);
        item.rawSize = rawSize;
        server_.endPosition_ = end;
        server_.modified_ = true;
        return true;
    }

  private:
    ResourceFileServer & server_;
    Plain plain_;
};
