#include "apps/cvhost/doctor/Witness.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <string>

namespace {

using cvhost::Seen;
using cvhost::Witness;

std::ptrdiff_t countOf(const Witness& witness, Seen::What what) {
    const auto seen = witness.seen();
    return std::ranges::count(seen, what, &Seen::what);
}

TEST(WitnessOfMuch, Chatter_BeyondTheLimit_HidesNothingElse) {
    Witness witness([] {}, nullptr);
    const std::string line(1000, 'x');
    const std::string_view byte = "E";
    for (int i = 0; i < 2000; ++i) witness.log(line);
    const auto logged = countOf(witness, Seen::What::log);
    EXPECT_LT(logged, 1100) << "no more than a mebibyte";
    for (int i = 0; i < 46; ++i)
        witness.wire(cvhost::Direction::transmit, {reinterpret_cast<const unsigned char*>(byte.data()), byte.size()});
    witness.port("/dev/desk", cvhost::PortState::lost);

    EXPECT_EQ(countOf(witness, Seen::What::log), logged);
    EXPECT_EQ(countOf(witness, Seen::What::transmit), 46);
    EXPECT_EQ(countOf(witness, Seen::What::lost), 1);
}

}  // namespace
