// cvdesk and a host of another make: pyserial's network serial port.

#include <gmock/gmock.h>

#include "tests/apps/CvdeskRig.h"

namespace apps_test {
namespace {

struct DeskRow {
    std::string name;
    Arguments arguments;
    /// What the host of another make expects: see cvdesk_host.py.
    Arguments expects;
};
void PrintTo(const DeskRow& row, std::ostream* out) { *out << row.name; }

class CvdeskForeignHost : public CvdeskTest, public testing::WithParamInterface<DeskRow> {};

TEST_P(CvdeskForeignHost, WholeSession_GoesAsExpected) {
    Arguments arguments{"--rfc2217", "0"};
    arguments.insert(arguments.end(), GetParam().arguments.begin(), GetParam().arguments.end());
    Process desk(cvdesk(arguments));
    Process::Setup setup{.command = {"/usr/bin/python3", CVDESK_HOST_SCRIPT, whereIs(desk)}};
    setup.command.insert(setup.command.end(), GetParam().expects.begin(), GetParam().expects.end());
    Process host(setup);
    EXPECT_EQ(host.wait(), 0) << host.errors();
}

INSTANTIATE_TEST_SUITE_P(Desks, CvdeskForeignHost,
                         testing::Values(DeskRow{"V4", {}, {"monitor", "V4", "007"}},
                                         DeskRow{"other", {"--model", "other", "--firmware", "8"}, {"monitor", "M2", "008"}},
                                         DeskRow{"noMonitor", {"--no-monitor"}, {"program", "-", "007"}},
                                         DeskRow{"silent", {"--silent"}, {"silent", "-", "-"}}),
                         [](const auto& row) { return row.param.name; });

}  // namespace
}  // namespace apps_test
