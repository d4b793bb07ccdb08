// Handing components back when the serial library fails, and what is dropped when. This program is the host itself but
// for what host/core shares.
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "host/api/Plugin.h"
#include "host/api/Thread.h"
#include "host/core/Allocator.h"
#include "host/core/Log.h"
#include "host/core/Serial.h"

namespace {

std::vector<std::string> s_done;
std::function<void(void*)> s_drop;

/// A component with a thread. Its complete object begins elsewhere than its component part.
struct Front {
    virtual ~Front() = default;
    int filler = 0;
};
struct Component final : Front, CvComponentBase, BasicThread {
    explicit Component(const char* name) : CvComponentBase(name, 1) {}
    ~Component() override { s_done.push_back(std::string("deleted ") + componentName().c_str()); }
    void threadFn() override {}
};

struct Plugin final : CvDeviceDriverBase {
    Plugin() : CvDeviceDriverBase("1", "Test") {}
    Component* add(const char* name) {
        auto* component = new Component(name);
        m_components.push_back(component);
        return component;
    }
};

class Closedown : public testing::Test {
protected:
    void SetUp() override {
        s_done.clear();
        s_drop = [](void*) { s_done.push_back("dropped"); };
    }
    Plugin plugin;
};

}  // namespace

namespace cvhost {
void dropSerialHandlers(void* context) { s_drop(context); }
void writeLog(const char*, std::string_view) {}
}  // namespace cvhost

BasicThread::BasicThread() noexcept = default;
BasicThread::~BasicThread() = default;
void BasicThread::endThread() { s_done.push_back("ended"); }

iAllocator& hostAllocator() noexcept {
    static cvhost::CountingAllocator& allocator = *new cvhost::CountingAllocator;
    return allocator;
}

TEST_F(Closedown, Deletion_HandlersAreDroppedAndTheThreadHasEnded) {
    plugin.add("a");
    plugin.closedown();
    EXPECT_EQ(s_done, (std::vector<std::string>{"dropped", "ended", "dropped", "deleted a"}));
}

TEST_F(Closedown, Context_IsTheCompleteObject) {
    const void* const whole = dynamic_cast<void*>(plugin.add("a"));
    std::vector<const void*> contexts;
    s_drop = [&](void* context) { contexts.push_back(context); };
    plugin.closedown();
    EXPECT_EQ(contexts, (std::vector<const void*>{whole, whole}));
}

TEST_F(Closedown, FailureOnTheWay_EmptiesTheListAndPassesTheFirstOn) {
    const std::unique_ptr<Component> first(plugin.add("a")), second(plugin.add("b"));
    plugin.add("c");
    int calls = 0;
    s_drop = [&](void*) {
        ++calls;
        if (calls == 4) throw std::runtime_error("first");   // after b has ended
        if (calls == 5) throw std::runtime_error("second");  // before a has
    };
    try {
        plugin.closedown();
        FAIL() << "nothing was thrown";
    } catch (const std::runtime_error& error) {
        EXPECT_STREQ(error.what(), "first");
    }
    EXPECT_TRUE(plugin.components().empty());
    // A handler of theirs may still be called, so they are left alive.
    EXPECT_EQ(s_done, (std::vector<std::string>{"ended", "deleted c", "ended"}));
}
