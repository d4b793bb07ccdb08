// Who has the lamps and the keys.
#include "apps/cvhost/control/Ownership.h"

#include <gtest/gtest.h>

#include <string>

#include "apps/cvhost/control/DeskState.h"

namespace {

using cvhost::control::Codes;
using cvhost::control::Ownership;

Codes codes(std::initializer_list<std::size_t> all) {
    Codes result;
    for (const std::size_t code : all) result.set(code);
    return result;
}

TEST(Ownership, Lamps_TakenTwice_AreTheFirstOnes) {
    Ownership ownership;
    EXPECT_EQ(ownership.lampOwner(), std::nullopt);
    EXPECT_TRUE(ownership.takeLamps(1));
    EXPECT_TRUE(ownership.takeLamps(1));
    EXPECT_FALSE(ownership.takeLamps(2));
    EXPECT_EQ(ownership.lampOwner(), 1);
    ownership.leave(2);
    EXPECT_EQ(ownership.lampOwner(), 1);
    ownership.leave(1);
    EXPECT_TRUE(ownership.takeLamps(2));
}

TEST(Ownership, Lamps_Dropped_AreTheNextOnes) {
    Ownership ownership;
    ownership.takeLamps(1);
    ownership.dropLamps(2);
    EXPECT_EQ(ownership.lampOwner(), 1) << "they were not the other one's";
    ownership.dropLamps(1);
    EXPECT_TRUE(ownership.takeLamps(2));
}

TEST(Ownership, Claim_OfACodeThatAnotherHas_ChangesNothing) {
    Ownership ownership;
    EXPECT_EQ(ownership.claim(1, codes({5, 47})), std::nullopt);
    EXPECT_EQ(ownership.claim(2, codes({0, 47})), 47);
    EXPECT_EQ(ownership.claimed(), codes({5, 47}));
    EXPECT_EQ(ownership.claimant(0), std::nullopt);
    EXPECT_EQ(ownership.claim(2, codes({0})), std::nullopt);
    EXPECT_EQ(ownership.claimant(0), 2);
}

TEST(Ownership, Claim_Again_ReplacesWhatWasClaimed) {
    Ownership ownership;
    ownership.claim(1, codes({5, 6}));
    ownership.claim(2, codes({7}));
    EXPECT_EQ(ownership.claim(1, codes({6, 8})), std::nullopt);
    EXPECT_EQ(ownership.claimed(), codes({6, 7, 8}));
    ownership.leave(1);
    EXPECT_EQ(ownership.claimed(), codes({7}));
}

TEST(DeskState, NoEventYet_IsWholeNonetheless) {
    const std::string json = cvhost::control::DeskState(true).json().text();
    EXPECT_NE(json.find(R"("link":"looking","port":null,"version":null,"simulated":true)"), json.npos) << json;
    EXPECT_NE(json.find(R"("timecode":"00:00:00:00")"), json.npos) << json;
}

}  // namespace
