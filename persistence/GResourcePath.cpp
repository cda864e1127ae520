// Windows on shared components, and their two forms: for people and for streams.
#include "persistence/GResourcePath.h"

#include "persistence/pstream.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <utility>

namespace {

constexpr char separator = '\\';
constexpr char beforeType = ',';
constexpr unsigned char version = 0;
constexpr int greatestCount = 0xFFFF;

} // namespace

GResourcePath::GResourcePath(GResourcePath const & other) noexcept
    : rep_(other.rep_), first_(other.first_), count_(other.count_) {
    if (rep_)
        rep_->references.fetch_add(1, std::memory_order_relaxed);
}

GResourcePath::GResourcePath(GString const & component) {
    *this += component;
}

GResourcePath & GResourcePath::operator=(GResourcePath const & other) noexcept {
    GResourcePath kept(other); // which may be this very path
    std::swap(rep_, kept.rep_);
    first_ = kept.first_;
    count_ = kept.count_;
    return *this;
}

GResourcePath & GResourcePath::operator=(GString const & component) {
    return *this = GResourcePath(component);
}

void GResourcePath::empty() {
    release();
    count_ = 0;
}

void GResourcePath::release() noexcept {
    if (rep_ && rep_->references.fetch_sub(1, std::memory_order_acq_rel) == 1)
        delete rep_;
    rep_ = nullptr;
}

/// Leaves a representation that holds the visible components and nothing else, for this path alone.
void GResourcePath::makeOwn() {
    if (rep_ && rep_->references.load(std::memory_order_acquire) == 1) {
        if (first_ > 0)
            for (int i = 0; i < count_; ++i)
                rep_->at(i) = rep_->at(first_ + i);
        while (rep_->getCount() > count_)
            rep_->at_remove(rep_->getCount() - 1);
    } else {
        auto own = std::make_unique<GResourcePathRep>();
        for (int i = 0; i < count_; ++i)
            own->insert(rep_->at(first_ + i));
        release();
        rep_ = own.release();
    }
    first_ = 0;
}

GResourcePath & GResourcePath::operator+=(GString const & component) {
    GString const kept(component); // it may stand in this very path
    makeOwn();
    rep_->insert(kept);
    ++count_;
    return *this;
}

GResourcePath & GResourcePath::operator+=(GResourcePath const & path) {
    if (count_ == 0)
        return *this = path;
    GResourcePath const kept(path);
    for (int i = 0; i < kept.count_; ++i)
        *this += kept[i];
    return *this;
}

GResourcePath & GResourcePath::parent() {
    if (count_ > 0)
        --count_;
    return *this;
}

GResourcePath GResourcePath::subpath(int start, int length) const {
    start = std::max(start, 0);
    GResourcePath result(*this);
    if (length <= 0 || start >= count_) {
        result.count_ = 0;
        return result;
    }
    result.first_ += start;
    result.count_ = std::min(length, count_ - start);
    return result;
}

int GResourcePath::find_difference(GResourcePath const & other) const {
    int const most = std::min(count_, other.count_);
    if (rep_ == other.rep_ && first_ == other.first_)
        return most;
    int same = 0;
    while (same < most && (*this)[same] == other[same])
        ++same;
    return same;
}

bool GResourcePath::is_subdirectory(GResourcePath const & root, bool or_equal) const {
    return (count_ > root.count_ || (or_equal && count_ == root.count_)) &&
           find_difference(root) == root.count_;
}

bool GResourcePath::rename_path_from_root(GResourcePath const & from, GResourcePath const & to) {
    if (!is_subdirectory(from, true))
        return false;
    GResourcePath renamed(to);
    renamed += subpath(from.count_);
    *this = renamed;
    return true;
}

GString GResourcePath::get_readable_form() const {
    GString text;
    for (int i = 0; i < count_; ++i) {
        text += (*this)[i];
        text += separator;
    }
    return text;
}

void GResourcePath::parse_readable_form(GString const & text) {
    GString const kept(text);
    empty();
    char const * at = kept.c_str();
    while (*at) {
        char const * const end = std::strchr(at, separator);
        if (!end) {
            *this += GString(at);
            return;
        }
        *this += GString(at, static_cast<unsigned int>(end - at));
        at = end + 1;
    }
}

opstream & operator<<(opstream & out, GResourcePath const & path) {
    int const count = std::min(path.getCount(), greatestCount);
    out << version << static_cast<unsigned short>(count);
    for (int i = 0; i < count; ++i)
        out << path[i];
    return out;
}

ipstream & operator>>(ipstream & in, GResourcePath & path) {
    in.readByte();
    unsigned short const count = in.readWord();
    for (int i = 0; i < count; ++i) {
        GString component;
        in >> component;
        if (!in)
            break;
        path += component;
    }
    return in;
}

void GResourceFullName::empty() {
    GResourcePath::empty();
    name.empty();
    type.empty();
}

GString GResourceFullName::get_readable_form() const {
    return GResourcePath::get_readable_form() + name + beforeType + type;
}

void GResourceFullName::parse_readable_form(GString const & text) {
    GResourcePath::parse_readable_form(text);
    if (getCount() == 0)
        return;
    GString const last((*this)[getCount() - 1]);
    char const * const comma = std::strchr(last.c_str(), beforeType);
    if (!comma)
        return;
    parent();
    name = last.left(static_cast<unsigned int>(comma - last.c_str()));
    type = comma + 1;
}

opstream & operator<<(opstream & out, GResourceFullName const & fullName) {
    return out << version << fullName.path() << fullName.name << fullName.type;
}

ipstream & operator>>(ipstream & in, GResourceFullName & fullName) {
    in.readByte();
    return in >> static_cast<GResourcePath &>(fullName) >> fullName.name >> fullName.type;
}
