// The market day and its handlers.
#include "MarketDay.h"

#include "Library.h"

#include <algorithm>

using namespace Tavlin;

namespace Village {

G_DEFINE_CREATABLE(Proclamation, "Village::Proclamation", UniqueObject, IDispatcherImpl)
G_DEFINE_CREATABLE(Delivery, "Village::Delivery", UniqueObject, IDispatcherImpl)

// A board calls its handlers by this name, whatever the message.
TAVLIN_BEGIN_DISPATCHER(Proclamation, IDispatcherImpl)
    TAVLIN_METHOD("default", perform, UNDEFINED)
TAVLIN_END_DISPATCHER()

TAVLIN_BEGIN_DISPATCHER(Delivery, IDispatcherImpl)
    TAVLIN_METHOD("default", perform, UNDEFINED)
TAVLIN_END_DISPATCHER()

namespace {

constexpr char boardName[] = "customs\\market,Board";
constexpr int cartLoad = 12;
constexpr int marketRoom = 200;

template <class T, class... Arguments>
TRef<Object> handler(Arguments... arguments) {
    TObjectCreator<T> creator(new T(arguments...));
    return TRef<Object>(static_cast<Object *>(creator));
}

} // namespace

void Proclamation::perform(VariableRef *, VRefVector *) {
    DispParams event(event_, nullptr, nullptr, IDispatcher::Method);
    event.call(TRef<Object>(AgentManager2::Get()));
}

void Proclamation::write(opstream & out) {
    out.writeByte(0);
    UniqueObject::write(out);
    out << event_;
}

void Proclamation::read(ipstream & in) {
    in.readByte();
    UniqueObject::read(in);
    in >> event_;
}

void Delivery::perform(VariableRef *, VRefVector *) {
    TRef<Object> const market = IDispatcher::FindObject("scene.Market", nullptr, nullptr);
    if (auto * const stall = gcast<Basket>(market.pointer()))
        stall->fill(loaves_, marketRoom);
}

void Delivery::write(opstream & out) {
    out.writeByte(0);
    UniqueObject::write(out);
    out << loaves_;
}

void Delivery::read(ipstream & in) {
    in.readByte();
    UniqueObject::read(in);
    in >> loaves_;
    loaves_ = std::clamp(loaves_, 0, marketRoom);
}

void stockMarketDay() {
    GResourceFullName name;
    name.parse_readable_form(boardName);
    if (ResourceFile(villageLibrary, GIO::ReadMode).exist(name))
        return;
    TObjectCreator<SimpleDispatcherFunctionGroup> groupCreator;
    TRef<SimpleDispatcherFunctionGroup> const group(
        static_cast<SimpleDispatcherFunctionGroup *>(groupCreator));
    group->setName("MarketDay");
    group->handlers().insert(handler<Delivery>(cartLoad));
    group->handlers().insert(handler<Proclamation>("MarketOpens"));
    TObjectCreator<SimpleDispatcher> creator;
    TRef<SimpleDispatcher> const board(static_cast<SimpleDispatcher *>(creator));
    board->functions().insert(group);
    LibraryCatalogue::Get(GFile(villageLibrary))
        ->put(TRef<Object>(board.pointer()), boardName, IBookMark::Shared);
}

TRef<Object> marketBoard() {
    return BookMark(GFile(villageLibrary), NameLinkID(boardName)).retrieveObject();
}

} // namespace Village
