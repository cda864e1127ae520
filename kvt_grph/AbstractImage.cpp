// What an image need not care for.
#include "kvt_grph/AbstractImage.h"

AbstractImage::~AbstractImage() = default;

void AbstractImage::stop_read() {}

void AbstractImage::start_write() const {}

void AbstractImage::stop_write() const {}

bool AbstractImage::has_room() const {
    return true;
}
