// The thread base class.
#include "host/api/Thread.h"

#include <gtest/gtest.h>
#include <pthread.h>

#include <functional>
#include <future>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <thread>

#include "host/api/OS.h"
#include "host/core/Failure.h"

namespace {

/// Runs a body that the test gives.
class Worker : public BasicThread {
public:
    explicit Worker(std::function<void(Worker&)> body) : m_body(std::move(body)) {}
    ~Worker() override { endThread(); }

    void threadFn() override { m_body(*this); }
    bool begin(const char* name = "worker") { return beginThread(name, iThread::priorityNormal); }
    using BasicThread::keepRunning;
    using BasicThread::stopRunning;

private:
    std::function<void(Worker&)> m_body;
};

void untilUnwanted(Worker& worker) {
    while (worker.keepRunning()) std::this_thread::yield();
}

/// Runs `begin` until the earlier body's thread has quite ended.
bool beginSoon(Worker& worker) {
    for (int i = 0; i < 1000000; ++i) {
        if (worker.begin()) return true;
        std::this_thread::yield();
    }
    return false;
}

}  // namespace

TEST(Thread, Begin_BodyThrows_IsKeptAndTheThreadEnds) {
    Worker worker([](Worker&) { throw std::bad_alloc(); });
    ASSERT_TRUE(worker.begin());
    worker.endThread();
    EXPECT_TRUE(cvhost::hasFailed());
    EXPECT_EQ(cvhost::takeFailure(), std::bad_alloc().what());
    EXPECT_FALSE(cvhost::hasFailed());
    EXPECT_EQ(cvhost::takeFailure(), std::nullopt);
}

TEST(Thread, Begin_BodyThrowsAnything_IsKept) {
    Worker worker([](Worker&) { throw 7; });
    ASSERT_TRUE(worker.begin());
    worker.endThread();
    EXPECT_EQ(cvhost::takeFailure(), "an exception of unknown kind");
}

TEST(Thread, BeginAndEnd_RunsTheBodyWithTheFlagSetAndWaitsForIt) {
    bool seen = false;
    bool ended = false;
    Worker worker([&](Worker& self) {
        seen = self.keepRunning();
        untilUnwanted(self);
        ended = true;
    });
    EXPECT_FALSE(worker.keepRunning());
    ASSERT_TRUE(worker.begin());
    worker.endThread();
    EXPECT_TRUE(ended);
    EXPECT_TRUE(seen || !worker.keepRunning());
    EXPECT_FALSE(worker.keepRunning());
}

TEST(Thread, BeginWhileItRuns_IsRefusedAndChangesNothing) {
    int runs = 0;
    Worker worker([&](Worker& self) {
        ++runs;
        untilUnwanted(self);
    });
    ASSERT_TRUE(worker.begin());
    EXPECT_FALSE(worker.begin());
    EXPECT_TRUE(worker.keepRunning());
    worker.endThread();
    EXPECT_EQ(runs, 1);
}

TEST(Thread, BeginAgain_AfterTheBodyEndedByItself) {
    std::atomic<int> runs{0};
    Worker worker([&](Worker& self) {
        ++runs;
        self.stopRunning();
    });
    ASSERT_TRUE(worker.begin());
    ASSERT_TRUE(beginSoon(worker));
    worker.endThread();
    EXPECT_EQ(runs, 2);
    ASSERT_TRUE(worker.begin());
    worker.endThread();
    EXPECT_EQ(runs, 3);
}

TEST(Thread, EndWithoutAThread_IsHarmless) {
    Worker worker([](Worker&) {});
    worker.endThread();
    worker.begin();
    worker.endThread();
    worker.endThread();
}

TEST(Thread, EndByTheThreadItself_ClearsTheFlagAndDoesNotWait) {
    bool cleared = false;
    Worker worker([&](Worker& self) {
        self.endThread();
        cleared = !self.keepRunning();
        self.endThread();
    });
    ASSERT_TRUE(worker.begin());
    worker.endThread();
    EXPECT_TRUE(cleared);
    ASSERT_TRUE(worker.begin());
}

TEST(Thread, BeginByTheThreadItself_IsRefused) {
    std::promise<bool> answer;
    Worker worker([&](Worker& self) { answer.set_value(self.begin()); });
    ASSERT_TRUE(worker.begin());
    EXPECT_FALSE(answer.get_future().get());
}

TEST(Thread, DestroyedByTheThreadItself_EndsItsBody) {
    struct Fleeting : BasicThread {
        Fleeting(std::future<void> begun, std::promise<void>& gone) : m_begun(std::move(begun)), m_gone(gone) {}
        ~Fleeting() override { endThread(); }
        void threadFn() override {
            std::promise<void>& gone = m_gone;
            m_begun.get();
            delete this;
            gone.set_value();
        }
        std::future<void> m_begun;
        std::promise<void>& m_gone;
    };
    std::promise<void> begun;
    std::promise<void> gone;
    auto* thread = new Fleeting(begun.get_future(), gone);
    ASSERT_TRUE(thread->beginThread("fleeting", iThread::priorityNormal));
    begun.set_value();
    gone.get_future().get();
}

TEST(Thread, Destruction_WaitsForTheBody) {
    bool ended = false;
    {
        Worker worker([&](Worker& self) {
            untilUnwanted(self);
            ended = true;
        });
        worker.begin();
    }
    EXPECT_TRUE(ended);
}

TEST(Thread, Name_ShowsInTheSystemUpToFifteenCharacters) {
    for (const auto& [name, shown] :
         {std::pair{"ConsInit", "ConsInit"}, {"a name that is long", "a name that is "}, {"", ""}}) {
        std::string seen;
        Worker worker([&](Worker&) {
            char buffer[32] = "";
            ::pthread_getname_np(::pthread_self(), buffer, sizeof buffer);
            seen = buffer;
        });
        ASSERT_TRUE(worker.begin(name));
        worker.endThread();
        EXPECT_EQ(seen, shown);
    }
    Worker nameless([](Worker&) {});
    EXPECT_TRUE(nameless.begin(nullptr));
}

TEST(Thread, EveryPriority_IsAccepted) {
    struct Quick : BasicThread {
        ~Quick() override { endThread(); }
        void threadFn() override {}
    } thread;
    for (const auto priority : {iThread::priorityLow, iThread::priorityNormal, iThread::priorityHigh}) {
        EXPECT_TRUE(thread.beginThread("p", priority));
        thread.endThread();
    }
}

TEST(Thread, ManyRounds_LeaveNothingBehind) {
    int rounds = 0;
    Worker worker([&](Worker&) { ++rounds; });
    for (int i = 0; i < 500; ++i) {
        ASSERT_TRUE(worker.begin());
        worker.endThread();
    }
    EXPECT_EQ(rounds, 500);
}

TEST(Thread, NoThreadToHave_IsRefusedAndTheFlagStaysClear) {
    pthread_attr_t usual;
    pthread_attr_t impossible;
    ASSERT_EQ(::pthread_getattr_default_np(&usual), 0);
    ASSERT_EQ(::pthread_getattr_default_np(&impossible), 0);
    ASSERT_EQ(::pthread_attr_setstacksize(&impossible, std::size_t{1} << 48), 0);  // more than the address space
    ASSERT_EQ(::pthread_setattr_default_np(&impossible), 0);
    Worker worker([](Worker&) {});
    EXPECT_FALSE(worker.begin());
    EXPECT_FALSE(worker.keepRunning());
    ASSERT_EQ(::pthread_setattr_default_np(&usual), 0);
    EXPECT_TRUE(worker.begin());
}
