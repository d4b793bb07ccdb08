// Handing components back when the serial library fails, and what is dropped when. This program is the host itself but
// for what host/core shares.
#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "host/api/Plugin.h"
#include "host/core/Allocator.h"
#include "host/core/Log.h"
#include "host/core/Serial.h"

namespace {

std::vector<std::string> s_done;
std::function<void(void*)> s_drop;

/// Its complete object begins elsewhere than its component part.
struct Front {
    virtual ~Front() = default;
    int filler = 0;
};
struct Component final : Front, CvComponentBase {
    explicit Component(const char* name) : CvComponentBase(name, 1) {}
    ~Component() override { s_done.push_back(std::string("deleted ") + componentName().c_str()); }
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

iAllocator& hostAllocator() noexcept {
    static cvhost::CountingAllocator& allocator = *new cvhost::CountingAllocator;
    return allocator;
}

TEST_F(Closedown, Handlers_AreDroppedBeforeAndAfterTheDeletion) {
    plugin.add("a");
    plugin.closedown();
    EXPECT_EQ(s_done, (std::vector<std::string>{"dropped", "deleted a", "dropped"}));
}

TEST_F(Closedown, Context_IsTheCompleteObject) {
    const void* const whole = dynamic_cast<void*>(plugin.add("a"));
    std::vector<const void*> contexts;
    s_drop = [&](void* context) { contexts.push_back(context); };
    plugin.closedown();
    EXPECT_EQ(contexts, (std::vector<const void*>{whole, whole}));
}

TEST_F(Closedown, FailureOnTheWay_EmptiesTheListAndPassesTheFirstOn) {
    Component* const keptAlive = plugin.add("a");
    plugin.add("b");
    plugin.add("c");
    int calls = 0;
    s_drop = [&](void*) {
        ++calls;
        if (calls == 2) throw std::runtime_error("first");   // after c was deleted
        if (calls == 5) throw std::runtime_error("second");  // before a is
    };
    try {
        plugin.closedown();
        FAIL() << "nothing was thrown";
    } catch (const std::runtime_error& error) {
        EXPECT_STREQ(error.what(), "first");
    }
    EXPECT_TRUE(plugin.components().empty());
    // A handler of a's may still be called, so a is left alive.
    EXPECT_EQ(s_done, (std::vector<std::string>{"deleted c", "deleted b"}));
    delete keptAlive;
}
