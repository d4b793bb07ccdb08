// The limit that is written down is the one that there is.
#include <gtest/gtest.h>

#include <string>

#include "tests/explore/Ran.h"

TEST(Schedules, PortReopenedDuringACopy_IsTheLimitThatIsWrittenDown) {
    const Ran search = ran(SCHEDULES " reopen-against-copy 2>&1");
    EXPECT_EQ(search.status, 1) << "docs/decisions/0002 says that this is not covered";
    EXPECT_EQ(search.output.substr(0, search.output.find('\n')),
              "reopen-against-copy: editor uses memory after its end, last seen at the count of a handle");
}
