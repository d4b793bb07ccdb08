// What mpv is asked to do, and what is made of its answers.
#include "apps/cvhost/map/Film.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "tests/unit/apps/cvhost/map/MapRig.h"

using cvhost::map::Film;
using cvhost::map::rateOf;
using cvhost::transport::Rate;
using map_test::oneFrame;
using map_test::playKey;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using Json = nlohmann::json;

constexpr int stop = 12;
constexpr int reverse = 13;

class FilmTest : public testing::Test {
protected:
    FilmTest() {
        sent();
        mpvSays("duration", 40.0);
        mpvSays("container-fps", 25.0);
        mpvSays("time-pos", 4.0);
    }

    /// The commands that are due, without their envelope. Questions are not among them.
    std::vector<std::string> sent() {
        std::istringstream lines(m_film.takeCommands());
        std::vector<std::string> commands;
        for (std::string line; std::getline(lines, line);) {
            const Json command = Json::parse(line).at("command");
            if (command.at(0) != "get_property") commands.push_back(command.dump());
        }
        return commands;
    }
    void mpvSays(const char* property, const Json& value) {
        m_film.hear(Json{{"event", "property-change"}, {"name", property}, {"data", value}}.dump());
    }
    void mpvSought(double time) {
        m_film.hear(R"({"request_id":1,"error":"success"})");
        mpvSays("time-pos", time);
        m_film.hear(R"({"event":"playback-restart"})");
    }
    std::int64_t frame() { return m_film.view().state.frame; }
    int speed() { return m_film.view().state.speed; }

    Film m_film;
};

}  // namespace

TEST_F(FilmTest, Hear_NestedVeryDeep_IsLeftOut) {
    const std::string nested = std::string(30'000, '[') + std::string(30'000, ']');
    m_film.hear(R"({"event":)" + nested + "}");
    m_film.hear(R"({"event":"property-change","name":"time-pos","data":)" + nested + "}");
    m_film.hear(nested);
    EXPECT_EQ(frame(), 100);
    mpvSays("time-pos", 8.0);
    EXPECT_EQ(frame(), 200);
}

TEST(Film, TakeCommands_First_AskForWhatShows) {
    Film film;
    const std::string text = film.takeCommands();
    for (const char* property : {"pause", "speed", "play-dir", "time-pos", "eof-reached", "duration", "container-fps"}) {
        EXPECT_THAT(text, testing::HasSubstr(property));
    }
    EXPECT_THAT(text, testing::StartsWith(R"({"command":["keyup",""])"));  // what a killed program held there
    EXPECT_EQ(film.takeCommands(), "");
}

TEST(Film, RateOf_Containers_IsTheFractionThatIsMeant) {
    EXPECT_EQ(rateOf(25), (Rate{25, 1}));
    EXPECT_EQ(rateOf(23.976), (Rate{24000, 1001}));
    EXPECT_EQ(rateOf(23.976024), (Rate{24000, 1001}));
    EXPECT_EQ(rateOf(24), (Rate{24, 1}));
    EXPECT_EQ(rateOf(29.97003), (Rate{30000, 1001}));
    EXPECT_EQ(rateOf(30), (Rate{30, 1}));
    EXPECT_EQ(rateOf(59.94), (Rate{60000, 1001}));
    EXPECT_EQ(rateOf(12.5), (Rate{25, 2}));
    for (const double none : {0.0, -1.0, 0.5, 1000.0, 1e300}) EXPECT_EQ(rateOf(none), std::nullopt) << none;
}

TEST_F(FilmTest, Key_Play_AsksForItAndShowsItOnlyWhenMpvDoes) {
    m_film.key(playKey);
    EXPECT_THAT(sent(), ElementsAre(R"(["set_property","speed",1.0])", R"(["set_property","pause",false])"));
    EXPECT_EQ(speed(), 0);
    mpvSays("pause", false);
    EXPECT_EQ(speed(), 1024);
    mpvSays("pause", true);  // somebody has paused it in mpv
    EXPECT_EQ(speed(), 0);
}

TEST_F(FilmTest, Hear_FilmEndsAndAnotherOpens_NothingOfTheFirstIsLeft) {
    m_film.key(9);  // mark in
    m_film.hear(R"({"event":"end-file"})");
    mpvSays("duration", nullptr);
    mpvSays("time-pos", nullptr);
    m_film.jog(3 * oneFrame);
    sent();
    mpvSays("duration", 20.0);
    mpvSays("time-pos", 2.0);
    EXPECT_THAT(sent(), IsEmpty());
    EXPECT_EQ(frame(), 50);
    EXPECT_EQ(m_film.view().state.markIn, std::nullopt);
}

TEST_F(FilmTest, Hear_PlaceNeverReported_IsAskedForWhenMpvHasOne) {
    sent();
    m_film.hear(R"({"event":"playback-restart"})");
    const Json question = Json::parse(m_film.takeCommands());
    EXPECT_EQ(question.at("command"), (Json{"get_property", "time-pos"}));
    EXPECT_EQ(m_film.takeCommands(), "");
    m_film.hear(Json{{"request_id", question.at("request_id")}, {"error", "success"}, {"data", 12.0}}.dump());
    EXPECT_EQ(frame(), 300);
}

TEST_F(FilmTest, Hear_DirectionUnderEitherName_CountsTheOneThatMpvHas) {
    mpvSays("pause", false);
    mpvSays("play-dir", "backward");
    mpvSays("play-direction", nullptr);  // this mpv does not have it
    EXPECT_EQ(speed(), -1024);
    mpvSays("play-direction", "forward");
    EXPECT_EQ(speed(), 1024);
}

TEST_F(FilmTest, Shuttle_Turned_AsksForItsSpeedAndDirection) {
    m_film.shuttle(1536);
    EXPECT_THAT(sent(), ElementsAre(R"(["set_property","speed",1.5])", R"(["set_property","pause",false])"));
    mpvSays("pause", false);
    mpvSays("speed", 1.5);
    EXPECT_EQ(speed(), 1536);
    m_film.shuttle(-512);
    EXPECT_THAT(sent(), ElementsAre(R"(["set_property","speed",0.5])", R"(["set_property","play-dir","backward"])",
                                    R"(["set_property","pause",false])"));
    mpvSays("speed", 0.5);
    mpvSays("play-dir", "backward");
    EXPECT_EQ(speed(), -512);
    m_film.shuttle(-512);
    EXPECT_THAT(sent(), IsEmpty());
}

TEST_F(FilmTest, Shuttle_ManySpeedsBeforeTheyAreSent_TheLastIsSent) {
    for (const int speed : {300, 600, 900, 2048}) m_film.shuttle(speed);
    EXPECT_THAT(sent(), ElementsAre(R"(["set_property","speed",2.0])", R"(["set_property","pause",false])"));
}

TEST_F(FilmTest, ReleaseRing_Turned_EndsWhatItHasStartedAlone) {
    m_film.shuttle(1024);
    sent();
    m_film.releaseRing();
    EXPECT_THAT(sent(), testing::Contains(R"(["set_property","pause",true])"));
    m_film.releaseRing();
    EXPECT_THAT(sent(), IsEmpty()) << "what mpv's user has started since";
    m_film.shuttle(1024);
    m_film.key(11);
    sent();
    m_film.releaseRing();
    EXPECT_THAT(sent(), IsEmpty());
}

TEST_F(FilmTest, Shuttle_FasterOrSlowerThanMpvCan_IsLimited) {
    m_film.shuttle(1);
    EXPECT_THAT(sent(), testing::Contains(R"(["set_property","speed",0.01])"));
    m_film.shuttle(1'000'000'000);
    EXPECT_THAT(sent(), testing::Contains(R"(["set_property","speed",100.0])"));
}

TEST_F(FilmTest, Key_StopAfterReverse_ParksOnTheFrameThatShows) {
    m_film.key(reverse);
    sent();
    mpvSays("time-pos", 3.0);
    m_film.key(stop);
    EXPECT_THAT(sent(), ElementsAre(R"(["set_property","pause",true])", R"(["set_property","speed",1.0])",
                                    R"(["set_property","play-dir","forward"])", R"(["seek",3.0,"absolute+exact"])"));
}

TEST_F(FilmTest, Key_PlayAfterMpvWasTurnedRound_TurnsItBack) {
    mpvSays("play-dir", "backward");
    m_film.key(playKey);
    EXPECT_THAT(sent(), ElementsAre(R"(["set_property","speed",1.0])", R"(["set_property","play-dir","forward"])",
                                    R"(["set_property","pause",false])"));
    mpvSays("play-dir", "forward");
    m_film.key(reverse);
    EXPECT_THAT(sent(), testing::Contains(R"(["set_property","play-dir","backward"])"));
    m_film.key(stop);  // mpv has not said yet that it plays backward
    EXPECT_THAT(sent(), testing::Contains(R"(["set_property","play-dir","forward"])"));
}

TEST_F(FilmTest, Jog_Counts_AreOneAbsoluteTarget) {
    m_film.jog(oneFrame);
    m_film.jog(2 * oneFrame);
    EXPECT_THAT(sent(), ElementsAre(R"(["seek",4.12,"absolute+exact"])"));
    EXPECT_EQ(frame(), 103);
}

TEST_F(FilmTest, Jog_WhileATargetIsOnItsWay_TheNewestFollowsIt) {
    m_film.jog(oneFrame);
    EXPECT_THAT(sent(), ElementsAre(R"(["seek",4.04,"absolute+exact"])"));
    for (int i = 0; i < 50; ++i) {
        m_film.jog(oneFrame);
        EXPECT_THAT(sent(), IsEmpty());
    }
    mpvSays("time-pos", 4.04);
    EXPECT_EQ(frame(), 151);
    mpvSought(4.04);
    EXPECT_THAT(sent(), ElementsAre(R"(["seek",6.04,"absolute+exact"])"));
    mpvSought(6.04);
    EXPECT_THAT(sent(), IsEmpty());
    EXPECT_EQ(frame(), 151);
}

TEST_F(FilmTest, Jog_RestartOfAnEarlierSeek_IsNotTaken) {
    m_film.jog(oneFrame);
    sent();
    m_film.hear(R"({"event":"playback-restart"})");  // before the answer: of another seek
    m_film.jog(oneFrame);
    EXPECT_THAT(sent(), IsEmpty());
    mpvSought(4.04);
    EXPECT_THAT(sent(), ElementsAre(R"(["seek",4.08,"absolute+exact"])"));
}

TEST_F(FilmTest, Jog_TargetRefused_TheNextIsSent) {
    m_film.jog(oneFrame);
    sent();
    m_film.hear(R"({"request_id":1,"error":"property unavailable"})");
    m_film.jog(oneFrame);
    EXPECT_THAT(sent(), ElementsAre(R"(["seek",4.08,"absolute+exact"])"));
}

TEST_F(FilmTest, Jog_FilmEndsWithATargetOnItsWay_TheNextFilmIsNotMoved) {
    m_film.jog(oneFrame);
    sent();
    m_film.jog(oneFrame);
    m_film.hear(R"({"event":"end-file","reason":"stop"})");
    mpvSays("duration", Json());
    mpvSays("duration", 20.0);
    mpvSays("time-pos", 0.0);
    EXPECT_THAT(sent(), IsEmpty());
    EXPECT_EQ(frame(), 0);
    m_film.jog(oneFrame);
    EXPECT_THAT(sent(), ElementsAre(R"(["seek",0.04,"absolute+exact"])"));
}

TEST_F(FilmTest, Jog_WhilePlaying_PausesFirst) {
    m_film.key(playKey);
    sent();
    mpvSays("pause", false);
    mpvSays("time-pos", 5.0);
    m_film.jog(-oneFrame);
    EXPECT_THAT(sent(), ElementsAre(R"(["set_property","pause",true])", R"(["set_property","speed",1.0])",
                                    R"(["seek",4.96,"absolute+exact"])"));
    mpvSays("time-pos", 5.04);  // mpv showed it before it paused
    EXPECT_EQ(frame(), 124);
}

TEST_F(FilmTest, Jog_FineCounts_AddUpWhileMpvStaysWhereItIs) {
    for (int i = 0; i < 9; ++i) {
        m_film.jog(oneFrame / 10);
        sent();
        mpvSought(4.0);
    }
    EXPECT_EQ(frame(), 100);
    m_film.jog(oneFrame / 10);
    EXPECT_EQ(frame(), 101);
}

TEST_F(FilmTest, Jog_AfterSomebodyHasSoughtInMpv_BeginsThere) {
    m_film.jog(oneFrame);
    sent();
    mpvSought(4.04);
    mpvSays("time-pos", 20.0);
    m_film.jog(oneFrame);
    EXPECT_THAT(sent(), ElementsAre(R"(["seek",20.04,"absolute+exact"])"));
}

TEST_F(FilmTest, Jog_BeyondTheEnds_StaysInTheFilm) {
    m_film.jog(-1000 * oneFrame);
    EXPECT_THAT(sent(), ElementsAre(R"(["seek",0.0,"absolute+exact"])"));
    mpvSought(0);
    m_film.jog(5000 * oneFrame);
    EXPECT_THAT(sent(), ElementsAre(R"(["seek",39.96,"absolute+exact"])"));
}

class UnopenedFilmTest : public FilmTest {
protected:
    UnopenedFilmTest() {
        m_film = {};
        sent();
    }
};

TEST_F(UnopenedFilmTest, Jog_BeforeTheFilmIsOpen_MovesItThen) {
    m_film.jog(2 * oneFrame);
    mpvSays("duration", 40.0);
    m_film.jog(oneFrame);
    EXPECT_THAT(sent(), IsEmpty());
    mpvSays("time-pos", 4.0);
    EXPECT_THAT(sent(), ElementsAre(R"(["seek",4.12,"absolute+exact"])"));
}

TEST_F(UnopenedFilmTest, Jog_VeryMuchBeforeTheFilmIsOpen_StaysInTheFilm) {
    for (int i = 0; i < 100'000; ++i) m_film.jog(1'000'000'000'000'000);
    mpvSays("time-pos", 4.0);
    mpvSays("duration", 40.0);
    EXPECT_THAT(sent(), ElementsAre(R"(["seek",39.96,"absolute+exact"])"));
}

TEST_F(FilmTest, Wheel_SwitchedOn_PausesWhatRuns) {
    m_film.wheel(true);
    EXPECT_THAT(sent(), IsEmpty());
    mpvSays("pause", false);
    m_film.wheel(true);
    EXPECT_THAT(sent(), testing::Contains(R"(["set_property","pause",true])"));
}

TEST_F(FilmTest, MpvKeys_Several_OneAtATimeIsOnItsWay) {
    m_film.mpvKeys().press(1, "x");
    m_film.mpvKeys().tap("a\",[\"run\"");
    m_film.mpvKeys().release(1);
    m_film.jog(oneFrame);
    EXPECT_THAT(sent(), ElementsAre(R"(["keydown","x"])", R"(["seek",4.04,"absolute+exact"])"));
    m_film.hear(R"({"request_id":1,"error":"success"})");
    EXPECT_THAT(sent(), IsEmpty());
    m_film.hear(R"({"request_id":2,"error":"success"})");
    EXPECT_THAT(sent(), ElementsAre(R"(["keypress","a\",[\"run\""])"));
    m_film.hear(R"({"request_id":2,"error":"invalid parameter"})");
    EXPECT_THAT(sent(), ElementsAre(R"(["keyup","x"])"));
    m_film.hear(R"({"request_id":2,"error":"success"})");
    EXPECT_THAT(sent(), IsEmpty());
}

TEST_F(FilmTest, MpvKeys_Sent_AreForTheThreadThatTakesKeys) {
    m_film.mpvKeys().tap("x");
    EXPECT_EQ(Json::parse(m_film.takeCommands()),
              Json::parse(R"({"command":["keypress","x"],"request_id":2,"async":true})"));
}

TEST_F(FilmTest, TakeLastCommands_KeysHeldAndOnTheirWay_AllComeUpWithoutAnAnswer) {
    m_film.mpvKeys().press(1, "x");
    sent();
    m_film.mpvKeys().press(2, "y");
    std::istringstream lines(m_film.takeLastCommands());
    std::vector<std::string> commands;
    for (std::string line; std::getline(lines, line);) commands.push_back(Json::parse(line).at("command").dump());
    EXPECT_THAT(commands, ElementsAre(R"(["keydown","y"])", R"(["keyup","x"])", R"(["keyup","y"])"));
}

TEST_F(FilmTest, Restart_ManyThingsDue_OnlyTheRingIsKnown) {
    m_film.key(playKey);
    m_film.key(9);
    m_film.jog(5 * oneFrame);
    m_film.mpvKeys().press(1, "x");
    m_film.shuttle(512);
    m_film.restart();
    EXPECT_EQ(m_film.takeCommands(), Film().takeCommands());
    EXPECT_EQ(m_film.view().state, cvhost::transport::State{});
    m_film.shuttle(512);
    EXPECT_THAT(sent(), IsEmpty());
}

TEST_F(FilmTest, Key_Marks_AreSetAtTheFrameThatShows) {
    m_film.key(9);
    m_film.jog(10 * oneFrame);
    m_film.key(15);
    EXPECT_EQ(m_film.view().state.markIn, 100);
    EXPECT_EQ(m_film.view().state.markOut, 110);
}

TEST_F(FilmTest, Hear_AtTheEnd_IsStopped) {
    mpvSays("pause", false);
    EXPECT_EQ(speed(), 1024);
    mpvSays("eof-reached", true);
    EXPECT_EQ(speed(), 0);
}

TEST_F(FilmTest, Hear_WhatIsNoMessage_ChangesNothing) {
    for (const char* line :
         {"", "{", "[]", "null", "7", "{\"event\":7}", "{\"event\":\"property-change\"}",
          R"({"event":"property-change","name":5,"data":1})", R"({"event":"property-change","name":"time-pos","data":"x"})",
          R"({"event":"property-change","name":"time-pos"})", R"({"request_id":1})", "\xff\xfe"}) {
        m_film.hear(line);
        EXPECT_EQ(frame(), 100) << line;
    }
}

TEST_F(FilmTest, Hear_ImpossibleNumbers_AreKeptInBounds) {
    mpvSays("time-pos", 1e300);
    EXPECT_EQ(frame(), 999);
    mpvSays("time-pos", -1e300);
    EXPECT_EQ(frame(), 0);
    mpvSays("duration", 1e300);
    mpvSays("container-fps", 1e300);
    EXPECT_EQ(m_film.view().clip.frames, cvhost::transport::Clip::mostFrames);
    mpvSays("pause", false);
    mpvSays("speed", 1e300);
    EXPECT_EQ(speed(), cvhost::transport::fastestSpeed);
}
