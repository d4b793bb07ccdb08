// The values that threads share, as small models tried under every behaviour that C++ allows for their memory orders. The
// models are written by hand after monitor/SharedField.h, console/Port.cpp, host/api/Ptr.h and, in host/linux/serial,
// SerialPort.cpp and SerialHandlers.cpp.
//
// Each holds with the orders that the code has, and fails when one that matters is weakened.
#include <gtest/gtest.h>

#include <cstdio>
#include <ostream>
#include <relacy/relacy.hpp>

// Relacy's macros for programs that allocate.
#undef new
#undef delete

namespace {

using rl::memory_order;

/// Whether no execution of the model goes wrong: no data race, no failed assertion. With `switches`, a thread is interrupted
/// in at most so many places, which a model needs in which threads repeat what they do.
template <class Model>
bool holds(int switches = 0) {
    std::ostream nowhere(nullptr);  // Relacy's report: one that keeps it would ask for memory in the midst of an execution
    rl::test_params parameters;
    parameters.search_type = switches > 0 ? rl::fair_context_bound_scheduler_type : rl::fair_full_search_scheduler_type;
    parameters.context_bound = static_cast<rl::iteration_t>(switches);
    parameters.output_stream = &nowhere;
    parameters.progress_stream = &nowhere;
    const bool held = rl::simulate<Model>(parameters);
    EXPECT_EQ(held, parameters.test_result == rl::test_result_success);
    std::printf("%llu executions, %s\n", static_cast<unsigned long long>(parameters.stop_iteration),
                rl::test_result_str(parameters.test_result));
    return held;
}

// The handle of the port.

struct HandleOrders {
    memory_order exchange = rl::mo_acq_rel;  // setPortHandle
    memory_order load = rl::mo_acquire;      // portHandle
    memory_order add = rl::mo_relaxed;       // addReference
    memory_order drop = rl::mo_acq_rel;      // dropReference
};

/// One thread opens a port, stores its handle, and takes it back; another copies the handle and uses the port meanwhile. The
/// serial library keeps a reference until both have come so far, then drops it.
template <class Orders>
struct HandleModel : rl::test_suite<HandleModel<Orders>, 2> {
    static constexpr Orders orders{};
    rl::atomic<int> handle;  // 1: the port, 0: none
    rl::atomic<int> references;
    rl::var<int> line;  // what the library has written into the port
    rl::atomic<int> left;

    void before() {
        handle($).store(0, rl::mo_relaxed);
        references($).store(0, rl::mo_relaxed);
        left($).store(2, rl::mo_relaxed);
    }

    void drop() {
        if (references($).fetch_sub(1, orders.drop) == 1) line($) = -1;  // deletes the port
    }

    /// The library's own reference goes when nobody is between the two steps of copying; that says nothing of memory order.
    void leave() {
        if (left($).fetch_sub(1, rl::mo_relaxed) == 1) drop();
    }

    void thread(unsigned number) {
        if (number == 0) {
            line($) = 1;
            references($).fetch_add(2, orders.add);  // the library's and the handle's
            handle($).exchange(1, orders.exchange);
            if (handle($).exchange(0, orders.exchange) == 1) drop();
        } else if (handle($).load(orders.load) == 1) {
            references($).fetch_add(1, orders.add);
            RL_ASSERT(int(line($)) == 1);
            drop();
        }
        leave();
    }
};

struct RelaxedExchange : HandleOrders {
    memory_order exchange = rl::mo_relaxed;
};
struct AcquiringExchange : HandleOrders {
    memory_order exchange = rl::mo_acquire;
};
struct ReleasingExchange : HandleOrders {
    memory_order exchange = rl::mo_release;
};
struct RelaxedLoad : HandleOrders {
    memory_order load = rl::mo_relaxed;
};
struct ReleasingDrop : HandleOrders {
    memory_order drop = rl::mo_release;
};
struct AcquiringDrop : HandleOrders {
    memory_order drop = rl::mo_acquire;
};

// The exported values, which are written plainly, and the flag behind which they may be read.

struct FlagOrders {
    memory_order send = rl::mo_release;  // the serial line: what the console answers, it was asked before
    memory_order receive = rl::mo_acquire;
    memory_order set = rl::mo_release;    // m_state in takeVersion
    memory_order check = rl::mo_acquire;  // active()
};

/// The start-up thread identifies the model and asks for the version, the receive thread hears it, a thread of the host sees
/// the console active and reads what was identified.
template <class Orders>
struct FlagModel : rl::test_suite<FlagModel<Orders>, 3> {
    static constexpr Orders orders{};
    rl::var<int> packetSize;
    rl::atomic<int> asked;
    rl::atomic<int> version;
    rl::atomic<int> state;

    void before() {
        packetSize($) = 0;
        asked($).store(0, rl::mo_relaxed);
        version($).store(0, rl::mo_relaxed);
        state($).store(0, rl::mo_relaxed);
    }

    void thread(unsigned number) {
        if (number == 0) {
            packetSize($) = 13;
            asked($).store(1, orders.send);
        } else if (number == 1) {
            if (asked($).load(orders.receive) == 0) return;
            version($).store(7, rl::mo_relaxed);
            state($).store(1, orders.set);
        } else if (state($).load(orders.check) == 1) {
            RL_ASSERT(int(packetSize($)) == 13);
            RL_ASSERT(version($).load(rl::mo_relaxed) == 7);
        }
    }
};

struct RelaxedSet : FlagOrders {
    memory_order set = rl::mo_relaxed;
};
struct RelaxedCheck : FlagOrders {
    memory_order check = rl::mo_relaxed;
};
struct RelaxedSend : FlagOrders {
    memory_order send = rl::mo_relaxed;
};
struct RelaxedReceive : FlagOrders {
    memory_order receive = rl::mo_relaxed;
};

// The queue of received bytes.

struct QueueOrders {
    memory_order push = rl::mo_release;      // m_pushed in push
    memory_order pushed = rl::mo_acquire;    // m_pushed in next and clear
    memory_order exchange = rl::mo_acq_rel;  // m_taken in next and clear
};

enum class Third { looks, takes, clears };

/// A queue with room for one byte: one thread pushes two, one takes, a third does something else. Byte number n has the
/// value n + 1.
template <class Orders, Third third>
struct QueueModel : rl::test_suite<QueueModel<Orders, third>, 3> {
    static constexpr Orders orders{};
    rl::atomic<int> byte;
    rl::atomic<int> pushed;
    rl::atomic<int> taken;

    void before() {
        byte($).store(0, rl::mo_relaxed);
        pushed($).store(0, rl::mo_relaxed);
        taken($).store(0, rl::mo_relaxed);
    }

    void push() {
        const int last = pushed($).load(rl::mo_relaxed);
        if (last - taken($).load(rl::mo_acquire) == 1) return;
        byte($).store(last + 1, rl::mo_relaxed);
        pushed($).store(last + 1, orders.push);
    }

    void next(int take) {
        int first = taken($).load(rl::mo_acquire);
        while (first != pushed($).load(orders.pushed)) {
            const int value = byte($).load(rl::mo_relaxed);
            if (!taken($).compare_exchange_strong(first, first + take, orders.exchange, rl::mo_acquire)) continue;
            RL_ASSERT(value == first + 1);
            return;
        }
    }

    void clear() {
        const int last = pushed($).load(orders.pushed);
        int first = taken($).load(rl::mo_acquire);
        while (first < last && !taken($).compare_exchange_strong(first, last, orders.exchange, rl::mo_acquire)) {
        }
    }

    void thread(unsigned number) {
        if (number == 0) {
            push();
            push();
        } else if (number == 1) {
            next(1);
        } else if (third == Third::clears) {
            clear();
        } else {
            next(third == Third::takes ? 1 : 0);
        }
    }

    void after() { RL_ASSERT(taken($).load(rl::mo_relaxed) <= pushed($).load(rl::mo_relaxed)); }
};

struct RelaxedPush : QueueOrders {
    memory_order push = rl::mo_relaxed;
};
struct RelaxedPushed : QueueOrders {
    memory_order pushed = rl::mo_relaxed;
};

// A seat for a registration.

struct SeatOrders {
    memory_order publish = rl::mo_release;  // the state in add
    memory_order look = rl::mo_acquire;     // the state in find
    memory_order begin = rl::mo_seq_cst;    // the state in run, before the call
    memory_order finish = rl::mo_seq_cst;   // the state in run, after it
    memory_order remove = rl::mo_seq_cst;   // the state in removeWhere
};

/// A registration with port 1 is removed while its receive thread may be in a call of it; then what it is for is destroyed,
/// and the seat is given to a registration with port 2, whose thread may be looking already.
template <class Orders>
struct SeatModel : rl::test_suite<SeatModel<Orders>, 3> {
    static constexpr Orders orders{};
    static constexpr int empty = 0;
    static constexpr int phases = 8;
    static constexpr int ready = 1;
    static constexpr int running = 2;
    static constexpr int leaving = 3;
    rl::atomic<int> state;    // the port that the registration is with, times `phases`, and the phase
    rl::atomic<int> port;     // as the seat has it
    rl::var<int> context;     // 1 and 2: of the registration
    rl::var<int> firstAlive;  // what the first registration's handler uses
    rl::mutex mutex;
    rl::condition_variable changed;

    void before() {
        state($).store(phases + ready, rl::mo_relaxed);
        port($).store(1, rl::mo_relaxed);
        context($) = 1;
        firstAlive($) = 1;
    }

    void call(int mine) {
        int expected = state($).load(orders.look);
        if (expected % phases != ready || port($).load(rl::mo_acquire) != mine) return;
        const int number = expected - ready;
        if (!state($).compare_exchange_strong(expected, number + running, orders.begin, rl::mo_relaxed)) return;
        RL_ASSERT(number == mine * phases);
        RL_ASSERT(int(context($)) == mine);
        if (mine == 1) RL_ASSERT(int(firstAlive($)) == 1);
        expected = number + running;
        if (state($).compare_exchange_strong(expected, number + ready, orders.finish, rl::mo_relaxed)) return;
        mutex.lock($);
        state($).store(empty, rl::mo_seq_cst);
        changed.notify_all($);
        mutex.unlock($);
    }

    void replace() {
        mutex.lock($);
        int was = phases + ready;
        if (!state($).compare_exchange_strong(was, empty, orders.remove, rl::mo_relaxed) &&
            !state($).compare_exchange_strong(was, phases + leaving, orders.remove, rl::mo_relaxed)) {
            state($).compare_exchange_strong(was, empty, orders.remove, rl::mo_relaxed);
        }
        while (state($).load(orders.look) != empty) changed.wait(mutex, $);
        firstAlive($) = 0;
        context($) = 2;
        port($).store(2, rl::mo_release);
        state($).store(2 * phases + ready, orders.publish);
        mutex.unlock($);
    }

    void thread(unsigned number) {
        if (number == 2) {
            replace();
        } else {
            call(static_cast<int>(number) + 1);
        }
    }
};

struct RelaxedPublish : SeatOrders {
    memory_order publish = rl::mo_relaxed;
};
struct RelaxedFinish : SeatOrders {
    memory_order finish = rl::mo_relaxed;
};

// The receive thread at the transport, which goes when the port has ended.

struct PlaceOrders {
    memory_order move = rl::mo_seq_cst;   // m_place in Visit
    memory_order watch = rl::mo_seq_cst;  // m_place in closeNow
    memory_order end = rl::mo_seq_cst;    // m_condition in end
    memory_order check = rl::mo_seq_cst;  // m_condition in takeBytes
};

/// The receive thread reads from the transport twice, unless the port has ended; another thread closes the port.
template <class Orders>
struct PlaceModel : rl::test_suite<PlaceModel<Orders>, 2> {
    static constexpr Orders orders{};
    rl::atomic<int> atTransport;
    rl::atomic<int> ended;
    rl::var<int> transport;

    void before() {
        atTransport($).store(0, rl::mo_relaxed);
        ended($).store(0, rl::mo_relaxed);
        transport($) = 1;
    }

    void thread(unsigned number) {
        if (number == 0) {
            for (int i = 0; i < 2; ++i) {
                atTransport($).store(1, orders.move);
                if (ended($).load(orders.check) == 0) RL_ASSERT(int(transport($)) == 1);
                atTransport($).store(0, orders.move);
            }
        } else {
            ended($).store(1, orders.end);
            while (atTransport($).load(orders.watch) != 0) rl::yield(1, $);
            transport($) = 0;
        }
    }
};

struct WeakPlace : PlaceOrders {
    memory_order move = rl::mo_release;
    memory_order watch = rl::mo_acquire;
};
struct WeakCondition : PlaceOrders {
    memory_order end = rl::mo_release;
    memory_order check = rl::mo_acquire;
};

}  // namespace

TEST(MemoryModel, PortHandle_HoldsInEveryExecution) { EXPECT_TRUE(holds<HandleModel<HandleOrders>>()); }

TEST(MemoryModel, PortHandleWeakened_Fails) {
    EXPECT_FALSE(holds<HandleModel<RelaxedExchange>>());
    EXPECT_FALSE(holds<HandleModel<AcquiringExchange>>());
    EXPECT_FALSE(holds<HandleModel<RelaxedLoad>>());
    EXPECT_FALSE(holds<HandleModel<ReleasingDrop>>());
    EXPECT_FALSE(holds<HandleModel<AcquiringDrop>>());
}

// A thread that takes a handle back has stored it itself, or has joined the thread that did.
TEST(MemoryModel, ExchangeThatOnlyReleases_HoldsToo) { EXPECT_TRUE(holds<HandleModel<ReleasingExchange>>()); }

TEST(MemoryModel, ActiveFlag_WhoSeesItReadsWhatWasIdentified) { EXPECT_TRUE(holds<FlagModel<FlagOrders>>()); }

TEST(MemoryModel, ActiveFlagWeakened_Fails) {
    EXPECT_FALSE(holds<FlagModel<RelaxedSet>>());
    EXPECT_FALSE(holds<FlagModel<RelaxedCheck>>());
    EXPECT_FALSE(holds<FlagModel<RelaxedSend>>());
    EXPECT_FALSE(holds<FlagModel<RelaxedReceive>>());
}

TEST(MemoryModel, ReceiveQueue_HoldsInEveryExecution) {
    EXPECT_TRUE((holds<QueueModel<QueueOrders, Third::looks>>(4)));
    EXPECT_TRUE((holds<QueueModel<QueueOrders, Third::takes>>(4)));
    EXPECT_TRUE((holds<QueueModel<QueueOrders, Third::clears>>(4)));
}

TEST(MemoryModel, ReceiveQueueWeakened_Fails) {
    EXPECT_FALSE((holds<QueueModel<RelaxedPush, Third::looks>>(4)));
    EXPECT_FALSE((holds<QueueModel<RelaxedPushed, Third::looks>>(4)));
}

TEST(MemoryModel, Seat_HoldsInEveryExecution) { EXPECT_TRUE((holds<SeatModel<SeatOrders>>(4))); }

TEST(MemoryModel, SeatWeakened_Fails) {
    EXPECT_FALSE((holds<SeatModel<RelaxedPublish>>(4)));
    EXPECT_FALSE((holds<SeatModel<RelaxedFinish>>(4)));
}

TEST(MemoryModel, Transport_IsNotUsedAfterTheEnd) { EXPECT_TRUE(holds<PlaceModel<PlaceOrders>>(4)); }

TEST(MemoryModel, PlaceOrConditionWeakened_Fails) {
    EXPECT_FALSE(holds<PlaceModel<WeakPlace>>(4));
    EXPECT_FALSE(holds<PlaceModel<WeakCondition>>(4));
}
