#include "host/sim/Scheduler.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <utility>

namespace sim {

class Thread {
public:
    enum class State { ready, waiting, watching, ended };

    Thread(std::string threadName) : name(std::move(threadName)) {}
    Thread(std::string threadName, std::function<void()> threadBody, bool isServant, void (*enter)(void*))
        : name(std::move(threadName)), body(std::move(threadBody)), servant(isServant), fiber(enter, this) {}

    std::string name;
    std::function<void()> body;
    bool servant = false;
    Scheduler* scheduler = nullptr;
    State state = State::ready;
    const void* channel = nullptr;
    std::optional<Time> deadline;
    bool woken = false;
    bool atAnyMoment = false;  // while it waits: the chooser may end that
    std::uint64_t turn = 0;    // who has been ready the longest has the lowest
    const char* what = "";
    Fiber fiber;
};

Scheduler::Scheduler(const Schedule& schedule)
    : m_schedule(schedule),
      m_random(schedule.seed),
      m_threads{std::make_shared<Thread>("host")},
      m_current(m_threads[0].get()) {}

Scheduler::~Scheduler() {
    if (m_threads.size() > 1) report("a thread outlives its world");
}

bool Scheduler::ended(const Thread& thread) noexcept { return thread.state == Thread::State::ended; }

bool Scheduler::runs(std::string_view name) const noexcept {
    return std::ranges::any_of(m_threads, [=](const ThreadHandle& thread) { return thread->name == name; });
}

const std::string& Scheduler::currentName() const noexcept { return m_current->name; }

const std::string& Scheduler::nameOf(const Thread& thread) noexcept { return thread.name; }

const char* Scheduler::placeOf(const Thread& thread) noexcept { return thread.what; }

void Scheduler::sleep(Time duration) { wait(nullptr, m_now + duration, "sleep"); }

void Scheduler::waitForTurn(Time limit) {
    m_current->atAnyMoment = true;
    wait(nullptr, m_now + limit, "wait for its turn");
}

void Scheduler::settle() {
    m_current->state = Thread::State::watching;
    m_current->what = "settle";
    m_current->deadline = m_now;
    dispatch();
}

void Scheduler::runFor(Time duration) {
    const Time end = m_now + duration;
    settle();
    while (m_now < end) {
        m_current->state = Thread::State::watching;
        m_current->what = "run";
        m_current->deadline = end;
        dispatch();
    }
}

bool Scheduler::runUntil(const std::function<bool()>& done, Time limit) {
    const Time end = m_now + limit;
    settle();
    while (!done()) {
        if (m_now >= end) return false;
        runFor(std::min(end, nextDue().value_or(end)) - m_now);
    }
    return true;
}

ThreadHandle Scheduler::start(std::string name, std::function<void()> body, bool servant) {
    m_ended.reset();
    ThreadHandle thread;
    try {
        thread = std::make_shared<Thread>(std::move(name), std::move(body), servant, &Scheduler::enter);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
    thread->scheduler = this;
    thread->what = "start";
    m_threads.push_back(thread);
    makeReady(*thread);
    return thread;
}

void Scheduler::enter(void* argument) {
    auto* self = static_cast<Thread*>(argument);
    Scheduler& scheduler = *self->scheduler;
    self->body();
    self->body = nullptr;
    self->state = Thread::State::ended;
    scheduler.wake(self);
    const auto handle = std::ranges::find(scheduler.m_threads, self, &ThreadHandle::get);
    scheduler.m_ended = std::move(*handle);
    scheduler.m_threads.erase(handle);
    scheduler.dispatch();
}

void Scheduler::join(const ThreadHandle& thread) {
    while (!ended(*thread)) wait(thread.get(), std::nullopt, "join");
}

void Scheduler::makeReady(Thread& thread) {
    thread.state = Thread::State::ready;
    thread.channel = nullptr;
    thread.deadline.reset();
    thread.atAnyMoment = false;
    thread.turn = ++m_readied;
}

void Scheduler::point(const char* what) {
    m_current->what = what;
    if (++m_points > m_schedule.pointLimit) report("too much happens at one instant");
    if (m_schedule.chooser == nullptr && !m_schedule.shuffled) return;
    if (m_schedule.chooser == nullptr && m_random.chance(m_schedule.stalls)) {
        const auto most = static_cast<std::uint64_t>(m_schedule.stallAtMost.count());
        wait(nullptr, m_now + Time(m_random.below(most + 1)), what);
    } else {
        makeReady(*m_current);
        dispatch(true);
    }
}

bool Scheduler::wait(const void* channel, std::optional<Time> deadline, const char* what) {
    m_current->state = Thread::State::waiting;
    m_current->channel = channel;
    m_current->deadline = deadline;
    m_current->woken = false;
    m_current->what = what;
    dispatch();
    return m_current->woken;
}

void Scheduler::wake(const void* channel) {
    if (channel == nullptr) return;
    for (const ThreadHandle& thread : m_threads) {
        if (thread->state != Thread::State::waiting || thread->channel != channel) continue;
        makeReady(*thread);
        thread->woken = true;
    }
}

void Scheduler::dispatch(bool mayStay) {
    Thread* next = ready(mayStay);
    while (next == nullptr) {
        letTimePass();
        next = ready(false);
    }
    if (next == m_current) return;
    Thread* left = std::exchange(m_current, next);
    left->fiber.switchTo(next->fiber, left->state == Thread::State::ended);
}

/// Who runs next at this instant: one of the ready; when nothing is left to happen, a watcher whose time has come.
Thread* Scheduler::ready(bool mayStay) {
    m_choice.clear();
    for (const ThreadHandle& thread : m_threads) {
        if (thread->state == Thread::State::ready) m_choice.push_back(thread.get());
    }
    if (m_schedule.chooser != nullptr) return chosen(mayStay);
    if (m_choice.empty()) return whenNobodyIsReady();
    if (m_schedule.shuffled) return m_choice[m_choice.size() == 1 ? 0 : m_random.below(m_choice.size())];
    return *std::ranges::min_element(m_choice, {}, &Thread::turn);
}

Thread* Scheduler::whenNobodyIsReady() {
    Thread* watcher = nullptr;
    for (const ThreadHandle& thread : m_threads) {
        if (thread->state == Thread::State::watching && thread->deadline <= m_now) watcher = thread.get();
    }
    if (watcher == nullptr || nextDue().value_or(Time::max()) <= m_now) return nullptr;
    makeReady(*watcher);
    return watcher;
}

Thread* Scheduler::chosen(bool mayStay) {
    const Thread* first = mayStay ? m_current : nullptr;
    std::ranges::sort(m_choice, {}, [=](const Thread* thread) { return thread == first ? 0 : thread->turn; });
    if (m_choice.empty()) m_choice.push_back(nullptr);
    for (const ThreadHandle& thread : m_threads) {
        if (thread->state == Thread::State::waiting && thread->atAnyMoment) m_choice.push_back(thread.get());
    }
    Thread* next = m_choice[m_schedule.chooser->choose(m_choice, mayStay)];
    if (next == nullptr) return whenNobodyIsReady();
    if (next->state != Thread::State::ready) makeReady(*next);
    return next;
}

std::optional<Time> Scheduler::nextDue() const {
    std::optional<Time> due;
    const auto consider = [&](std::optional<Time> at) {
        if (at && (!due || *at < *due)) due = at;
    };
    for (const ThreadHandle& thread : m_threads) {
        if (thread->state == Thread::State::waiting) consider(thread->deadline);
    }
    for (const Timed* timed : m_timed) consider(timed->nextEvent());
    return due;
}

/// When time must stop next; reports that nothing can ever happen again.
Time Scheduler::nextStop() const {
    std::optional<Time> stop = nextDue();
    const auto missed = [](const ThreadHandle& thread) {
        return thread->state == Thread::State::waiting && !thread->servant;
    };
    if (!stop && std::ranges::any_of(m_threads, missed)) report("every thread waits and nothing is due");
    for (const ThreadHandle& thread : m_threads) {
        if (thread->state == Thread::State::watching) stop = std::min(*thread->deadline, stop.value_or(*thread->deadline));
    }
    if (!stop) report("every thread waits and nothing is due");
    if (*stop > m_schedule.timeLimit) report("the time limit has passed");
    return *stop;
}

void Scheduler::letTimePass() {
    const Time stop = nextStop();
    if (stop > m_now) {
        m_now = stop;
        m_points = 0;
    } else if (++m_points > m_schedule.pointLimit) {
        report("too much happens at one instant");
    }
    for (Timed* timed : m_timed) {
        const std::optional<Time> at = timed->nextEvent();
        if (at && *at <= m_now) timed->advance(m_now);
    }
    for (const ThreadHandle& thread : m_threads) {
        if (thread->state == Thread::State::waiting && thread->deadline && *thread->deadline <= m_now) makeReady(*thread);
    }
}

void Scheduler::report(const char* what) const {
    std::fprintf(stderr, "virtual time: %s, at %.6f s, seed %llu\n", what, std::chrono::duration<double>(m_now).count(),
                 static_cast<unsigned long long>(m_schedule.seed));
    for (const ThreadHandle& thread : m_threads) {
        const char* state = thread->state == Thread::State::waiting ? "waits in" : "is in";
        std::fprintf(stderr, "  %s %s %s\n", thread->name.c_str(), state, thread->what);
    }
    std::abort();
}

}  // namespace sim
