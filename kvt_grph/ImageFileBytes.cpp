// The parts that need no speed, and the refilling of windows.
#include "kvt_grph/ImageFileBytes.h"

#include "foundation/GException.h"
#include "kvt_grph/AbstractImageReaderWriter.h"

#include <climits>

namespace ondrel_detail {

void setFilter(ImageFileFilter & filter, unsigned id) {
    if (filter.loadString(id))
        return;
    char text[256];
    GLoadMessage(id, text, sizeof text, nullptr);
    filter = ImageFileFilter(text);
}

bool skipFar(ipstream & in, std::int64_t count) {
    while (count > 0) {
        auto const piece = static_cast<long>(std::min<std::int64_t>(count, 1 << 30));
        if (in.skipBytes(piece) < piece)
            return false;
        count -= piece;
    }
    return true;
}

namespace {

/// The bytes from here to the end; 0 where that cannot be told.
std::int64_t bytesLeft(ipstream & in) {
    GAbstractBufferedIO * const device = in.rdbuf();
    long const now = device ? device->gtell() : -1;
    if (now < 0)
        return 0;
    long const end = device->gseek(0, GIO::FromEnd);
    device->gseek(now, GIO::FromStart);
    return end > now ? end - now : 0;
}

} // namespace

bool canHoldImage(ipstream & in, std::int64_t width, std::int64_t height,
                  std::int64_t pixelsPerByte) {
    constexpr std::int64_t believed = 64 << 20;
    constexpr std::int64_t longestRow = (1 << 30) / 4;
    if (width > longestRow)
        return false;
    std::int64_t const pixels = width * height;
    return pixels <= believed || pixels / pixelsPerByte <= bytesLeft(in);
}

void WindowReader::bytes(unsigned char * to, std::size_t count) {
    while (count > 0) {
        if (current_ == end_ && !refill()) {
            std::memset(to, 0, count);
            return;
        }
        std::size_t const piece = std::min(count, static_cast<std::size_t>(end_ - current_));
        std::memcpy(to, current_, piece);
        current_ += piece;
        to += piece;
        count -= piece;
    }
}

void WindowReader::skip(std::size_t count) {
    while (count > 0 && (current_ < end_ || refill())) {
        std::size_t const piece = std::min(count, static_cast<std::size_t>(end_ - current_));
        current_ += piece;
        count -= piece;
    }
}

/// What was read out of the window is read out of the stream.
void WindowReader::consume() {
    auto const read = static_cast<long>(current_ - begin_);
    begin_ = current_;
    in_.skipBytes(read);
}

bool WindowReader::refill() {
    consume();
    begin_ = current_ = end_ = nullptr;
    GAbstractBufferedIO * const device = in_.rdbuf();
    bool arrives = device && !ended_ &&
                   (device->getState() == GAbstractBufferedIO::Reading || device->startRead());
    // A refill may succeed and bring nothing: the next one brings more, or fails.
    while (arrives && device->getRCurrent() == device->getREnd())
        arrives = device->readBuffer();
    if (!arrives) {
        if (!ended_) {
            ended_ = true;
            in_.setstate(pstream::EofBit | pstream::ReadFailedBit);
        }
        return false;
    }
    begin_ = current_ = device->getRCurrent();
    end_ = device->getREnd();
    return true;
}

PartOfFile::PartOfFile(AbstractImage const & image, GPoint position, int width, int height) {
    std::int64_t const left = std::clamp<long>(position.x, INT_MIN, INT_MAX);
    std::int64_t const top = std::clamp<long>(position.y, INT_MIN, INT_MAX);
    std::int64_t const right = std::min<std::int64_t>(left + image.get_width(), width);
    std::int64_t const bottom = std::min<std::int64_t>(top + image.get_height(), height);
    if (right <= std::max<std::int64_t>(left, 0) || bottom <= std::max<std::int64_t>(top, 0))
        return;
    x = static_cast<int>(std::max<std::int64_t>(left, 0));
    y = static_cast<int>(std::max<std::int64_t>(top, 0));
    fromX = static_cast<int>(x - left);
    fromY = static_cast<int>(y - top);
    columns = static_cast<int>(right - x);
    rows = static_cast<int>(bottom - y);
}

} // namespace ondrel_detail
