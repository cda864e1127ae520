// Channels and their sources.
#include "tavlinmid/TavlinVRefChannel.h"

#include "diagnostics/TavlinError.h"
#include "persistence/pstream.h"

#include <memory>

namespace Tavlin {

G_DEFINE_CREATABLE(VRefChannel, "Tavlin::VRefChannel", RefCounter)
G_DEFINE_CREATABLE(VRefObjectChannel, "Tavlin::VRefObjectChannel", UniqueObject, VRefChannel,
                   IDispatcherImpl)
G_DEFINE_CREATABLE(VRefChannelSource, "VRefChannelSource", RefCounter)

TAVLIN_BEGIN_DISPATCHER(VRefObjectChannel, IDispatcherImpl)
    TAVLIN_PROPERTY_GET("Locked", getLocked, INT)
    TAVLIN_PROPERTY_SET("Locked", setLocked, INT)
    TAVLIN_METHOD("Close", callClose, UNDEFINED)
TAVLIN_END_DISPATCHER()

namespace {

constexpr char source[] = "tavlinmid/TavlinVRefChannel";

void expectVersion(ipstream & in, int line) {
    unsigned char const version = in.readByte();
    if (version != 0)
        throw XStrVer(source, line, version, 0);
}

} // namespace

VRefChannel::~VRefChannel() = default;

void VRefChannel::close() {
    if (source_)
        source_->closeChannel(TRef<VRefChannel>(this));
}

void VRefChannel::send(VRefVector & args) {
    // A receiver may drop the last reference to itself in the middle of its own method.
    TRef<Object> const hold = target_.getObject();
    // The interface that had the method may have gone, and another may have it now.
    if (hold && hold->interfacesThatLeft() != boundAt_)
        bind(hold, target_.getNameLinkID());
    target_.invoke(nullptr, &args);
}

bool VRefChannel::bind(TRef<Object> const & object, NameLinkID method) {
    boundAt_ = object ? object->interfacesThatLeft() : 0;
    return target_.bind(object, method);
}

bool VRefChannel::isBoundTo(TRef<Object> const & object, NameLinkID method) const {
    return target_.getNameLinkID() == method && target_.getObject().pointer() == object.pointer();
}

/// The source has let go of the channel.
void VRefChannel::cutOff() {
    source_ = nullptr;
    locked_ = false;
}

void VRefChannel::onFinalRelease() {
    RefCounter::onFinalRelease();
}

void VRefChannel::write(opstream & out) {
    out.writeByte(0);
    out.writeDWord(locked_);
    RefCounterWrite(out, TRef<RefCounter>(target_.getObject().pointer()));
    out << target_.getNameLinkID();
    out.writePointer(source_);
}

void VRefChannel::read(ipstream & in) {
    in.readByte();
    locked_ = in.readDWord() != 0;
    TRef<RefCounter> const counted = RefCounterRead(in, &Object::metaclass_);
    TRef<Object> const object(gcast<Object>(counted.pointer()));
    NameLinkID method;
    in >> method;
    // Also when the target has gone: the method belongs to the stored form.
    bind(object, method);
    // The channel does not keep its target. Whoever does may come later in the stream, and finds
    // it by number.
    if (object)
        in.keep(std::make_shared<TRef<Object>>(object));
    // Only a source that lists the channel is its source: it says so itself while it is read.
    auto * const owner = in.readPointer<VRefChannelSource>();
    if (owner != source_)
        RefCounter::EndUnwanted(in, owner);
}

void VRefObjectChannel::getLocked(VariableRef * result) {
    if (result)
        *result = static_cast<int>(isLocked());
}

void VRefObjectChannel::setLocked(VariableRef const & value) {
    if (value.type() != INT)
        return;
    if (value.asINT() != 0)
        lock();
    else
        unlock();
}

void VRefObjectChannel::callClose(VariableRef *, VRefVector *) {
    close();
}

void VRefObjectChannel::onFinalRelease() {
    Object::onFinalRelease();
}

void VRefObjectChannel::write(opstream & out) {
    out.writeByte(0);
    Object::write(out);
    VRefChannel::write(out);
    AUnknown::write(out);
}

void VRefObjectChannel::read(ipstream & in) {
    expectVersion(in, 117);
    Object::read(in);
    VRefChannel::read(in);
    AUnknown::read(in);
}

VRefChannelSource::~VRefChannelSource() {
    for (Round * round = rounds_; round; round = round->outer)
        round->source = nullptr;
    for (long i = channels_.getCount() - 1; i >= 0; --i) {
        channels_.at(i)->cutOff();
        channels_.at(i)->target_.empty();
    }
}

TRef<VRefChannel> VRefChannelSource::openChannelTo(TRef<Object> object, NameLinkID method) {
    return openChannel(TRef<VRefChannel>(new VRefChannel), object, method);
}

TRef<VRefObjectChannel> VRefChannelSource::openObjectChannelTo(TRef<Object> object,
                                                               NameLinkID method) {
    TRef<VRefChannel> const channel =
        openChannel(TRef<VRefChannel>(new VRefObjectChannel), object, method);
    return TRef<VRefObjectChannel>(gcast<VRefObjectChannel>(channel.pointer()));
}

TRef<VRefChannel> VRefChannelSource::openChannel(TRef<VRefChannel> channel, TRef<Object> object,
                                                 NameLinkID method) {
    // A channel whose target has gone is bound to null, and is nobody's.
    if (!object)
        return nullptr;
    for (long i = channels_.getCount() - 1; i >= 0; --i)
        if (channels_.at(i)->isBoundTo(object, method))
            return channels_.at(i);
    if (!channel->bind(object, method))
        return nullptr;
    channel->source_ = this;
    channels_.insert(channel);
    return channel;
}

void VRefChannelSource::closeChannel(TRef<VRefChannel> channel) {
    for (long i = channels_.getCount() - 1; i >= 0; --i) {
        if (channels_.at(i).pointer() != channel.pointer())
            continue;
        channel->cutOff();
        channel->target_.empty();
        removeAt(i);
        return;
    }
}

void VRefChannelSource::removeAt(long index) {
    TRef<VRefChannel> const removed = channels_.at(index); // ends last, when the list is in order
    channels_.at_remove(index);
    for (Round * round = rounds_; round; round = round->outer)
        if (index < round->next)
            --round->next;
}

void VRefChannelSource::send(VRefVector & args) {
    // A receiver may drop the last reference to the source, or end its owner.
    TRef<VRefChannelSource> const hold(getReferenceCount() > 0 ? this : nullptr);
    Round round(*this);
    while (round.source && round.next > 0) {
        --round.next;
        TRef<VRefChannel> const channel = channels_.at(round.next);
        if (channel->target_.isEmpty()) {
            channel->cutOff();
            removeAt(round.next);
        } else if (!channel->locked_) {
            channel->send(args);
        }
    }
}

void VRefChannelSource::send(VariableRef const & first) {
    VRefVector args;
    args.insert(first);
    send(args);
}

void VRefChannelSource::send(VariableRef const & first, VariableRef const & second) {
    VRefVector args;
    args.insert(first);
    args.insert(second);
    send(args);
}

bool VRefChannelSource::isLocked() const {
    for (long i = 0; i < channels_.getCount(); ++i)
        if (!channels_.at(i)->isLocked())
            return false;
    return true;
}

void VRefChannelSource::onFinalRelease() {
    RefCounter::onFinalRelease();
}

void VRefChannelSource::write(opstream & out) {
    out.writeByte(0);
    out.writeDWord(static_cast<unsigned long>(channels_.getCount()));
    for (long i = 0; i < channels_.getCount(); ++i)
        RefCounterWrite(out, TRef<RefCounter>(channels_.at(i).pointer()));
}

void VRefChannelSource::read(ipstream & in) {
    expectVersion(in, 243);
    for (unsigned long count = in.readDWord(); count > 0 && in.good(); --count) {
        TRef<RefCounter> const counted = RefCounterRead(in, &VRefChannel::metaclass_);
        TRef<VRefChannel> const channel(gcast<VRefChannel>(counted.pointer()));
        // One that has a source is listed there, or was named twice here.
        if (!channel || channel->source_)
            continue;
        channel->source_ = this;
        channels_.expand();
        channels_.insert(channel);
    }
}

} // namespace Tavlin
