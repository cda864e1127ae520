// Processes and their manager.
#include "tavlinbase/TavlinProcess.h"

#include "diagnostics/TavlinError.h"
#include "persistence/pstream.h"
#include "tavlinbase/TavlinThreads.h"
#include "tavlinbase/TavlinTime.h"

#include <bit>
#include <cstdint>
#include <mutex>

namespace Tavlin {

G_DEFINE_CLASS(Process, "Tavlin::Process", Object, ISetModifyActivator)

ProcessManager * ProcessManager::PM = nullptr;

namespace {

constexpr char source[] = "tavlinbase/TavlinProcess";
constexpr char invalidType[] = "Invalid Step Type";

constinit CriticalSection guard("ProcessManagerGuard");

// Behind 4.5 lies the render step, in front of it the step of the game.
constexpr float framePriority = std::bit_cast<float>(0x40966666);
constexpr float timePriority = std::bit_cast<float>(0x40933333);
constexpr float gamePriority = 3.0f;

bool isValid(Process::Type type) {
    return type == Process::Frames || type == Process::RenderSeconds ||
           type == Process::GameSeconds;
}

float nowOf(Process::Type type) {
    switch (type) {
        case Process::Frames:
            return static_cast<float>(Time::Frame());
        case Process::RenderSeconds:
            return Time::CorrectedSeconds();
        case Process::GameSeconds:
            break;
    }
    return Time::GetTime();
}

} // namespace

Process::~Process() {
    leaveAll();
    // Those who are told of it still see a process.
    if (isRegistered())
        unreg();
}

void Process::leaveAll() {
    std::lock_guard const lock(guard);
    // A destructor must not throw, so this is the one place that only logs.
    if (!isValid(type_))
        Error const logged(source, 59, invalidType);
    if (entries_ == 0 || !ProcessManager::PM)
        return;
    // A type that was changed without a stop has left entries in another list.
    for (ProcessList * const list :
         {ProcessManager::PM->listOf(type_), &ProcessManager::PM->frames_,
          &ProcessManager::PM->times_, &ProcessManager::PM->games_})
        while (list && entries_ > 0 && list->leave(this)) {
        }
}

void Process::init(Type type, float frequency) {
    std::lock_guard const lock(guard);
    type_ = type;
    frequency_ = frequency;
    if (!isValid(type))
        throw Error(source, 85, invalidType);
    if (ProcessManager::PM)
        ProcessManager::PM->listOf(type)->enter(this);
    lastStep_ = nowOf(type);
}

void Process::stop() {
    std::lock_guard const lock(guard);
    if (!isValid(type_))
        throw Error(source, 108, invalidType);
    if (ProcessManager::PM)
        ProcessManager::PM->listOf(type_)->leave(this);
    lastStep_ = nowOf(type_);
}

void Process::go(float now) {
    // The step may drop the last reference. One that throws leaves this one standing: a process is
    // not ended in the midst of its work, and whoever catches it can still look at it.
    union Hold {
        explicit Hold(Process * process) : reference(process) {}
        ~Hold() {}
        TRef<Process> reference;
    } hold(this);
    passed_ = now - lastStep_;
    if (!(passed_ < frequency_)) {
        step(now);
        lastStep_ = now;
        ran_.fire();
    }
    hold.reference.empty();
}

int Process::compare(Object const & other) const {
    return Distance(this, &other, sizeof(Process));
}

void Process::onFinalRelease() {
    // Before the lock of all objects, which a step of another thread may wait for in its round.
    std::lock_guard const lock(guard);
    Object::onFinalRelease();
}

void Process::write(opstream & out) {
    Object::write(out);
    out.writeByte(0);
    out.writeDWord(static_cast<std::uint32_t>(type_));
    out << frequency_ << lastStep_;
}

void Process::read(ipstream & in) {
    Object::read(in);
    in.readByte();
    type_ = static_cast<Type>(static_cast<std::int32_t>(in.readDWord()));
    in >> frequency_ >> lastStep_;
    std::lock_guard const lock(guard);
    if (!isValid(type_))
        throw Error(source, 152, invalidType);
    if (ProcessManager::PM)
        ProcessManager::PM->listOf(type_)->enter(this);
}

ProcessList::~ProcessList() {
    for (Round * round = rounds_; round; round = round->outer) {
        round->next = 0;
        round->ended = true;
    }
    for (long i = 0; i < getCount(); ++i)
        at(i)->entries_ = 0;
    shut_down();
}

void ProcessList::enter(Process * process) {
    insert(process);
    ++process->entries_;
}

bool ProcessList::leave(Process * process) {
    // Most that leave came lately.
    for (long i = getCount() - 1; i >= 0; --i) {
        if (at(i) != process)
            continue;
        at_remove(i);
        --process->entries_;
        for (Round * round = rounds_; round; round = round->outer)
            if (i < round->next)
                --round->next;
        return true;
    }
    return false;
}

void ProcessList::run(float now) {
    Round round(*this);
    while (round.next > 0)
        at(--round.next)->go(now);
}

void FrameStep::notify(Notifyer const &) {
    manager_.frame_step();
}

void TimeStep::notify(Notifyer const &) {
    manager_.time_step();
}

void GameStep::notify(Notifyer const &) {
    manager_.game_step();
}

void ProcessManager::frame_step() {
    std::lock_guard const lock(guard);
    frames_.run(nowOf(Process::Frames));
}

void ProcessManager::time_step() {
    std::lock_guard const lock(guard);
    times_.run(nowOf(Process::RenderSeconds));
}

void ProcessManager::game_step() {
    std::lock_guard const lock(guard);
    games_.run(nowOf(Process::GameSeconds));
}

ProcessList * ProcessManager::listOf(Process::Type type) {
    switch (type) {
        case Process::Frames:
            return &frames_;
        case Process::RenderSeconds:
            return &times_;
        case Process::GameSeconds:
            return &games_;
    }
    return nullptr;
}

void ProcessManager::Create() {
    if (!PM)
        PM = new ProcessManager;
}

void ProcessManager::Destroy() {
    std::lock_guard const lock(guard);
    delete PM;
    PM = nullptr;
}

void ProcessManager::StartTiming() {
    if (!PM)
        return;
    std::lock_guard const lock(guard);
    float const gameNow = nowOf(Process::GameSeconds);
    for (long i = 0; i < PM->games_.getCount(); ++i) {
        Process & process = *PM->games_.at(i);
        if (process.lastStep_ > gameNow)
            process.lastStep_ = gameNow;
    }
    for (long i = 0; i < PM->times_.getCount(); ++i)
        PM->times_.at(i)->lastStep_ = nowOf(Process::RenderSeconds);
    for (long i = 0; i < PM->frames_.getCount(); ++i)
        PM->frames_.at(i)->lastStep_ = nowOf(Process::Frames);
    Time::g_StepNotifyer.addCallback(static_cast<FrameStep *>(PM), framePriority);
    Time::g_StepNotifyer.addCallback(static_cast<TimeStep *>(PM), timePriority);
    Time::g_StepNotifyer.addCallback(static_cast<GameStep *>(PM), gamePriority);
}

void ProcessManager::StopTiming() {
    if (!PM)
        return;
    Time::g_StepNotifyer.removeCallback(static_cast<FrameStep *>(PM));
    Time::g_StepNotifyer.removeCallback(static_cast<TimeStep *>(PM));
    Time::g_StepNotifyer.removeCallback(static_cast<GameStep *>(PM));
}

void ProcessManager::FullInit() {
    Create();
    StartTiming();
}

} // namespace Tavlin
