// Where the library's classes have their bases and fields.
#include <cstring>
#include <functional>
#include <numeric>

#include "host/api/Thread.h"
#include "host/api/ThreadEvent.h"
#include "tests/library/DebugInfo.h"
#include "tests/library/Library.h"

namespace library {
namespace {

struct Declaration {
    const char* name;
    std::vector<std::string> bases{};
    std::vector<std::pair<std::string, std::string>> fields{};  ///< name and what the type begins with
};

void PrintTo(const Declaration& declaration, std::ostream* out) { *out << declaration.name; }

const Declaration s_declarations[] = {
    {.name = "CvPluginBase",
     .bases = {},
     .fields = {{"m_initialised", "bool"},
                {"m_kind", "int"},
                {"m_version", "LightweightString<char>"},
                {"m_displayName", "LightweightString<char>"},
                {"m_components", "vector<CvComponentBase*,"}}},
    {.name = "CvDeviceDriverBase", .bases = {"CvPluginBase"}},
    {.name = "Console::DeviceDriver", .bases = {"CvDeviceDriverBase"}},
    {.name = "CvComponentBase",
     .bases = {"virtual CvComponentBaseSharedResourceTag"},
     .fields = {{"m_type", "unsignedint"}, {"m_name", "LightweightString<char>"}}},
    {.name = "CvResourceTypeBase", .bases = {"CvComponentBase"}, .fields = {{"m_resourceType", "int"}}},
    {.name = "iObject", .bases = {"virtual InternalRefCount", "virtual iVirtual"}},
    {.name = "iConsoleResource", .bases = {"iObject"}},
    {.name = "Cv::Console",
     .bases = {"CvResourceTypeBase", "iConsoleResource", "BasicThread"},
     .fields = {{"m_wheelEnabled", "bool"},
                {"m_jogSuspended", "bool"},
                {"m_enabled", "bool"},
                {"m_shuttleOffset", "int"},
                {"m_ispeed", "int"},
                {"m_jogDelta", "int"},
                {"m_jogDeltaExact", "double"},
                {"m_state", "int"},
                {"m_version", "int"},
                {"m_monitorMode", "bool"},
                {"m_blinkPending", "bool"},
                {"m_lampState", "int[47]"},
                {"m_keyDown", "unsignedchar[46]"},
                {"m_port", "Ptr<CommsPort>"},
                {"m_rxEvent", "Ptr<iThreadEvent>"}}},
};

class ClassLayouts : public testing::TestWithParam<Declaration> {};

TEST_P(ClassLayouts, BasesAndFields_InDeclaredOrderOneAfterTheOther) {
    const ClassLayout layout = debugInfo().layoutOf(GetParam().name);
    std::size_t end = 0;
    std::vector<std::string> bases{};
    for (const Base& base : layout.bases) {
        bases.push_back(base.name);
        EXPECT_TRUE(base.name.starts_with("virtual ") || bases.size() == 1 || base.offset > layout.bases[0].offset)
            << base.name;
    }
    EXPECT_EQ(bases, GetParam().bases);

    ASSERT_EQ(layout.fields.size(), GetParam().fields.size());
    for (std::size_t i = 0; i < layout.fields.size(); ++i) {
        const Field& field = layout.fields[i];
        const auto& [name, type] = GetParam().fields[i];
        EXPECT_EQ(field.name, name);
        EXPECT_TRUE(field.type.starts_with(type)) << name << " is " << field.type;
        EXPECT_GE(field.offset, end) << name;
        EXPECT_TRUE(i == 0 || field.offset - end < 8) << name << ": a gap that no alignment explains";
        end = field.offset + field.size;
    }
    EXPECT_LE(end, layout.size);
}

INSTANTIATE_TEST_SUITE_P(Library, ClassLayouts, testing::ValuesIn(s_declarations));

/// The fields of a live console, found by the debug information and watched through its operations.
class ConsoleFields : public ConsoleEdgeTest {
protected:
    template <class T>
    T& field(const char* name) const {
        const Field& found = m_layout.field(name);
        EXPECT_EQ(found.size, sizeof(T)) << name;
        return *reinterpret_cast<T*>(static_cast<std::byte*>(dynamic_cast<void*>(&component())) + found.offset);
    }

    std::vector<std::byte> bytes() const {
        const auto* first = static_cast<const std::byte*>(dynamic_cast<void*>(&component()));
        return {first, first + m_layout.size};
    }

    /// The offsets of the bytes that `action` changes.
    std::vector<std::size_t> changes(const std::function<void()>& action) const {
        const std::vector<std::byte> before = bytes();
        action();
        const std::vector<std::byte> after = bytes();
        std::vector<std::size_t> offsets;
        for (std::size_t i = 0; i < before.size(); ++i) {
            if (before[i] != after[i]) offsets.push_back(i);
        }
        return offsets;
    }

    std::vector<std::size_t> bytesOf(const char* name, std::size_t element = 0, std::size_t elementSize = 0) const {
        const Field& found = m_layout.field(name);
        std::vector<std::size_t> offsets(elementSize == 0 ? found.size : elementSize);
        std::iota(offsets.begin(), offsets.end(), found.offset + element * elementSize);
        return offsets;
    }

private:
    const ClassLayout m_layout = debugInfo().layoutOf("Cv::Console");
};

TEST_F(ConsoleFields, Setters_WriteTheirFieldAndNothingElse) {
    EXPECT_EQ(changes([this] { console().disable(); }), bytesOf("m_enabled"));
    EXPECT_EQ(changes([this] { console().enable(); }), bytesOf("m_enabled"));
    EXPECT_EQ(changes([this] {
                  console().set_ispeed(-30000);
                  console().set_ispeed(0x01010101);
              }),
              bytesOf("m_ispeed"));
    EXPECT_EQ(changes([this] { console().enable_wheel(); }), bytesOf("m_wheelEnabled"));
    EXPECT_EQ(changes([this] {
                  console().suspend_wheel();
                  console().enable_wheel();
              }),
              bytesOf("m_jogSuspended"));
    EXPECT_EQ(changes([this] { console().enable_suspended_wheel(); }), bytesOf("m_jogSuspended"));
}

TEST_F(ConsoleFields, LampSet_WritesTheLampsEntry) {
    field<std::int32_t>("m_state") = 1;
    EXPECT_EQ(changes([this] { console().lamp_set(1, 'F'); }), bytesOf("m_lampState", 1, sizeof(std::int32_t)));
    EXPECT_EQ(changes([this] { console().lamp_set(46, 'F'); }), bytesOf("m_lampState", 46, sizeof(std::int32_t)));
    EXPECT_EQ(changes([this] { console().lamp_set(0, 'F'); }), std::vector<std::size_t>());
    EXPECT_EQ(changes([this] { console().lamp_set(47, 'F'); }), std::vector<std::size_t>());
}

TEST_F(ConsoleFields, Getters_ReadTheirField) {
    field<std::int32_t>("m_state") = 1;
    EXPECT_TRUE(console().active());
    field<std::int32_t>("m_state") = 2;
    EXPECT_FALSE(console().active());
    field<bool>("m_enabled") = false;
    EXPECT_FALSE(console().enabled());
    field<bool>("m_wheelEnabled") = true;
    EXPECT_TRUE(console().wheel_enabled());
    field<bool>("m_jogSuspended") = true;
    EXPECT_TRUE(console().jog_suspended());
    field<std::int32_t>("m_ispeed") = -11994;
    EXPECT_EQ(console().get_ispeed(), -11994);
    field<std::int32_t>("m_jogDelta") = -128;
    EXPECT_EQ(console().get_jog_delta(), -128);
    field<double>("m_jogDeltaExact") = -1.5;
    EXPECT_EQ(console().get_jog_delta_exact(), -1.5);
}

TEST_F(ConsoleFields, KeyIsDown_ReadsTheKeysEntry) {
    using KeyDown = std::uint8_t[46];
    for (const int code : {0, 5, 45}) {
        EXPECT_FALSE(console().key_is_down(code));
        field<KeyDown>("m_keyDown")[code] = 1;
        EXPECT_TRUE(console().key_is_down(code));
    }
    EXPECT_FALSE(console().key_is_down(44));
    // The host's last two codes have no entry, and what lies behind the table is not taken for one.
    std::byte* behind = reinterpret_cast<std::byte*>(&field<KeyDown>("m_keyDown")) + sizeof(KeyDown);
    ASSERT_LE(behind + 2, reinterpret_cast<std::byte*>(&field<void*>("m_port"))) << "no unused bytes to mark";
    std::memset(behind, 1, 2);
    EXPECT_FALSE(console().key_is_down(46));
    EXPECT_FALSE(console().key_is_down(47));
}

TEST_F(ConsoleFields, AtConstruction_HoldTheirDefaults) {
    EXPECT_FALSE(field<bool>("m_wheelEnabled"));
    EXPECT_FALSE(field<bool>("m_jogSuspended"));
    EXPECT_TRUE(field<bool>("m_enabled"));
    EXPECT_EQ(field<std::int32_t>("m_shuttleOffset"), 0);
    EXPECT_EQ(field<std::int32_t>("m_jogDelta"), 0);
    EXPECT_EQ(field<double>("m_jogDeltaExact"), 0.0);
    EXPECT_EQ(field<std::int32_t>("m_state"), 0);
    EXPECT_EQ(field<std::int32_t>("m_version"), 0);
    EXPECT_FALSE(field<bool>("m_blinkPending"));
    using LampState = std::int32_t[47];
    for (const std::int32_t state : field<LampState>("m_lampState")) EXPECT_EQ(state, -1);
    using KeyDown = std::uint8_t[46];
    for (const std::uint8_t down : field<KeyDown>("m_keyDown")) EXPECT_EQ(down, 0);
    EXPECT_EQ(field<void*>("m_port"), nullptr);
    auto& event = field<Cv::Ptr<iThreadEvent>>("m_rxEvent");
    ASSERT_TRUE(event);
    EXPECT_EQ(event->references(), 1);
    EXPECT_EQ(event->wait(0), 1) << "the event starts signalled";
    event->signal();
    EXPECT_EQ(event->wait(0), 0);
    EXPECT_EQ(event->wait(0), 1) << "a wait leaves the signal";
}

TEST_F(ConsoleFields, OwnFields_FollowTheBases) {
    const ClassLayout layout = debugInfo().layoutOf("Cv::Console");
    const Base& thread = layout.bases.at(2);
    EXPECT_EQ(static_cast<std::byte*>(dynamic_cast<void*>(&component())) + thread.offset,
              reinterpret_cast<std::byte*>(dynamic_cast<BasicThread*>(&component())));
    EXPECT_EQ(layout.field("m_wheelEnabled").offset, thread.offset + sizeof(BasicThread));
}

TEST_F(ConsoleFields, ShowIspeed_BlinkPending_ClearsIt) {
    field<bool>("m_blinkPending") = true;
    EXPECT_EQ(changes([this] { console().show_ispeed(0); }), bytesOf("m_blinkPending"));
}

}  // namespace
}  // namespace library
