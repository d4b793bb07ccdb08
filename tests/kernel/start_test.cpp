// Start-up with cvdesk as the console: found by its description, reset through RTS and brought up.
#include <gmock/gmock.h>

#include "tests/kernel/KernelTest.h"

namespace kernel_test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

struct Console {
    std::string model;
    int firmware;
    /// What the driver makes of it.
    int version;
};
void PrintTo(const Console& console, std::ostream* out) { *out << console.model << ", firmware " << console.firmware; }

class Startup : public KernelTest, public testing::WithParamInterface<Console> {};

TEST_P(Startup, Run_ConsoleResetThroughRts_BecomesActive) {
    const Console& console = GetParam();
    Process desk(cvdesk({"--usb", "--model", console.model, "--firmware", std::to_string(console.firmware)}));
    EXPECT_EQ(whereIs(desk), "/dev/ttyUSB0");
    Process host(this->host());
    waitFor(host, {{"event", "active"}, {"version", console.version}});
    EXPECT_EQ(end(host), 0) << host.errors();

    std::vector<int> levels;
    for (const Json& event : events(host, {{"event", "rts"}})) levels.push_back(event.at("level"));
    EXPECT_THAT(levels, ElementsAre(0, 1));
    EXPECT_THAT(wire(host, "rx"), HasSubstr(console.model == "V4" ? "\nV4 " : "\nM2 "));

    desk.signal(SIGTERM);
    EXPECT_EQ(desk.wait(), 0) << desk.errors();
    std::size_t next = 0;
    const std::vector<std::string> story{"RTS is low",          "the console starts",   "shows its prompt",
                                         "has told the model",  "jumps to the program", "program  runs",
                                         "has told its version"};
    for (const std::string& line : desk.lines())
        if (next < story.size() && line.find(story[next]) != line.npos) ++next;
    EXPECT_EQ(next, story.size()) << "did not tell: " << story[std::min(next, story.size() - 1)];
}

INSTANTIATE_TEST_SUITE_P(Consoles, Startup,
                         testing::Values(Console{.model = "V4", .firmware = 5, .version = 7},
                                         Console{.model = "V4", .firmware = 6, .version = 6},
                                         Console{.model = "V4", .firmware = 7, .version = 7},
                                         Console{.model = "V4", .firmware = 8, .version = 7},
                                         Console{.model = "other", .firmware = 5, .version = 7},
                                         Console{.model = "other", .firmware = 6, .version = 6},
                                         Console{.model = "other", .firmware = 7, .version = 7},
                                         Console{.model = "other", .firmware = 8, .version = 7}),
                         [](const auto& row) { return row.param.model + "_firmware" + std::to_string(row.param.firmware); });

}  // namespace
}  // namespace kernel_test
