// Channels: one-way subscriptions to a source. Each is bound to a method of some object, and a send
// calls all those methods with the same values, the newest channel first. A channel does not keep
// its target alive; one whose target has gone is dropped by the next send.
#pragma once

#include "tavlinbase/BoundInvoke.h"
#include "tavlinbase/IDispatcherImpl.h"
#include "tavlinbase/TRefVector.h"
#include "tavlinbase/TavlinObject.h"

namespace Tavlin {

class VRefChannelSource;

/// Open from the time its source made it until it is closed, its target has gone, or the source
/// ends; a closed channel that somebody still holds does nothing.
class ONDREL_API VRefChannel : public virtual RefCounter {
    G_DECLARE_CREATABLE(VRefChannel)
  public:
    VRefChannel() = default;
    ~VRefChannel() override;
    // A source lists each of its channels itself.
    VRefChannel(VRefChannel const &) = delete;
    VRefChannel & operator=(VRefChannel const &) = delete;

    /// A locked channel receives nothing.
    void lock() { locked_ = true; }
    void unlock() { locked_ = false; }
    bool isLocked() const { return locked_; }
    /// Null when closed.
    VRefChannelSource * getSource() const { return source_; }
    /// Takes the channel out of its source, which may end it; nothing when it is closed.
    void close();

    void onFinalRelease() override;
    void read(ipstream & in) override;
    void write(opstream & out) override;

  protected:
    void send(VRefVector & args);

  private:
    friend class VRefChannelSource;

    bool bind(TRef<Object> const & object, NameLinkID method);
    bool isBoundTo(TRef<Object> const & object, NameLinkID method) const;
    void cutOff();

    bool locked_ = false;
    ExternalBoundMethod target_;
    unsigned boundAt_ = 0; // the target's interfacesThatLeft when the method was found
    VRefChannelSource * source_ = nullptr; // not counted
};

/// A channel that scripts can handle: they read and write "Locked", an integer, and call "Close".
class ONDREL_API VRefObjectChannel : public UniqueObject,
                                     public VRefChannel,
                                     public IDispatcherImpl {
    G_DECLARE_CREATABLE(VRefObjectChannel)
    TAVLIN_DECLARE_DISPATCHER(VRefObjectChannel)
  public:
    VRefObjectChannel() = default;

    void getLocked(VariableRef * result);
    void setLocked(VariableRef const & value);
    void callClose(VariableRef * result, VRefVector * args);

    void onFinalRelease() override;
    void read(ipstream & in) override;
    void write(opstream & out) override;
};

/// What is subscribed to: it holds its channels and sends to them.
class ONDREL_API VRefChannelSource : public virtual RefCounter {
    G_DECLARE_CREATABLE(VRefChannelSource)
  public:
    VRefChannelSource() = default;
    ~VRefChannelSource() override;
    VRefChannelSource(VRefChannelSource const &) = delete;
    VRefChannelSource & operator=(VRefChannelSource const &) = delete;

    /// Subscribes a method of an object: there is at most one channel for each, so a second call
    /// gives the first one's. Null when the object has no such method.
    TRef<VRefChannel> openChannelTo(TRef<Object> object, NameLinkID method);
    /// The same for a channel that is an Object; null also when there is one of the plain kind.
    TRef<VRefObjectChannel> openObjectChannelTo(TRef<Object> object, NameLinkID method);

    /// Calls every channel that is not locked, the newest first, each at most once. Channels that
    /// are opened meanwhile wait for the next send.
    void send(VRefVector & args);
    void send(VariableRef const & first);
    void send(VariableRef const & first, VariableRef const & second);
    /// Whether all channels are locked; true when there are none.
    bool isLocked() const;
    long getChannelCount() const { return channels_.getCount(); }

    void onFinalRelease() override;
    void read(ipstream & in) override;
    void write(opstream & out) override;

  protected:
    TRef<VRefChannel> openChannel(TRef<VRefChannel> channel, TRef<Object> object,
                                  NameLinkID method);
    void closeChannel(TRef<VRefChannel> channel);

  private:
    friend class VRefChannel;

    /// A send that is under way: the channels below `next` are still to be reached.
    struct Round {
        // Not inlined: the compiler would warn of an address that stays behind, and cannot know
        // that it does so only in a source that has gone.
        [[gnu::noinline]] explicit Round(VRefChannelSource & s)
            : source(&s), next(s.channels_.getCount()), outer(s.rounds_) {
            s.rounds_ = this;
        }
        ~Round() {
            if (source)
                source->rounds_ = outer;
        }
        Round(Round const &) = delete;
        Round & operator=(Round const &) = delete;

        VRefChannelSource * source; // null once it has ended
        long next;
        Round * outer;
    };
    void removeAt(long index);

    TRefVector<VRefChannel> channels_; // in the order in which they were opened
    Round * rounds_ = nullptr;         // the innermost
};

} // namespace Tavlin
