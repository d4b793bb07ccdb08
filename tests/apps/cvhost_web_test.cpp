// The page's server: whom it serves, and what the page can do.

#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <csignal>
#include <cstddef>
#include <list>
#include <regex>
#include <stop_token>
#include <string>
#include <thread>

#include "apps/cvhost/web/WebGuard.h"
#include "apps/cvhost/web/WebServer.h"
#include "tests/apps/WebRig.h"

namespace apps_test {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::MatchesRegex;

TEST_F(WebTest, Page_AskedForByItsOwnAddress_IsServed) {
    const WebAnswer page = WebClient::ask(m_port, WebClient::get(m_port, "/"));
    EXPECT_EQ(page.status, 200);
    EXPECT_THAT(page.head, HasSubstr("Content-Type: text/html"));
    EXPECT_THAT(page.head, HasSubstr("default-src 'none'"));
    EXPECT_THAT(page.body, HasSubstr("<title>Edit console</title>"));
    const std::regex file("(?:href|src)=\"(/[^\"]+)\"");
    int files = 0;
    for (auto found = std::sregex_iterator(page.body.begin(), page.body.end(), file); found != std::sregex_iterator();
         ++found) {
        EXPECT_EQ(WebClient::ask(m_port, WebClient::get(m_port, (*found)[1])).status, 200) << (*found)[1];
        ++files;
    }
    EXPECT_GE(files, 4);
    EXPECT_EQ(page.body.find("https://"), std::string::npos) << "nothing is fetched from elsewhere";
}

TEST_F(WebTest, Ranges_AskedForAThousandTimes_GiveTheWholeOnce) {
    std::string ranges = "Range: bytes=0-";
    for (int i = 0; i < 1000; ++i) ranges += ",0-";
    const std::string head = "GET / HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(m_port) + "\r\n";
    const WebAnswer answer = WebClient::ask(m_port, head + ranges + "\r\n\r\n");
    EXPECT_EQ(answer.status, 200);
    EXPECT_EQ(answer.body, WebClient::ask(m_port, WebClient::get(m_port, "/")).body);
}

TEST_F(WebTest, Listeners_TooMany_OneMoreIsRefusedUntilOneLeaves) {
    std::list<WebClient> listeners;
    for (int i = 0; i < ::cvhost::web::WebServer::mostListeners; ++i) {
        listeners.push_back(listener());
        listeners.back().news();
    }
    const WebAnswer refused = WebClient::ask(m_port, WebClient::get(m_port, "/events"));
    EXPECT_EQ(refused.status, 503);
    EXPECT_EQ(refused.body, "Too many pages are open already; close one of them.\n");
    EXPECT_EQ(WebClient::ask(m_port, WebClient::get(m_port, "/")).status, 200);

    listeners.pop_front();
    for (;;) {
        WebClient next = listener();
        try {
            EXPECT_EQ(next.news().at("state").at("link"), "active");
            return;
        } catch (const std::runtime_error&) {
            // The one that left is not missed at once.
        }
    }
}

TEST_F(WebTest, Listener_NeverReads_ConsoleGoesOn) {
    const WebClient slow = listener(2048);
    for (int round = 0; round < 100; ++round) {
        Json actions = Json::array();
        for (int i = 0; i < 16; ++i) actions.push_back({{"do", "ring"}, {"position", (round * 16 + i) % 256}});
        ASSERT_EQ(act(actions).status, 204);
    }
    WebClient quick = listener();
    do {  // until the line has room for it
        ASSERT_EQ(act({{"do", "ring"}, {"position", 200}}).status, 204);
    } while (quick.news().at("state").at("speed") != 1495);
    ASSERT_EQ(act({{"do", "press"}, {"key", 5}}).status, 204);
    waitFor(m_host, {{"event", "key"}, {"code", 5}});
}

TEST_F(WebTest, Connections_ThreeHundredSlowOnes_PageIsServedNonetheless) {
    std::list<WebClient> slow;
    for (int i = 0; i < 300; ++i) {
        slow.emplace_back(m_port);
        if (i % 2 == 0) slow.back().send("GET / HT");
    }
    EXPECT_EQ(WebClient::ask(m_port, WebClient::get(m_port, "/")).status, 200);
    for (WebClient& each : slow) each.send("T");
    EXPECT_EQ(listener().news().at("state").at("link"), "active");
    EXPECT_EQ(act({{"do", "press"}, {"key", 5}}).status, 204);
}

TEST_F(WebTest, Connections_MoreThanAreKept_TheOldestMakesRoom) {
    WebClient page = listener();
    page.news();
    WebClient oldest(m_port);
    oldest.send("GET / HT");
    std::list<WebClient> later;
    for (std::size_t i = 0; i < ::cvhost::web::WebServer::mostConnections; ++i) later.emplace_back(m_port);
    EXPECT_EQ(oldest.answer().status, 0) << "closed without an answer";
    EXPECT_EQ(WebClient::ask(m_port, WebClient::get(m_port, "/")).status, 200);
    ASSERT_EQ(act({{"do", "ring"}, {"position", 200}}).status, 204);
    newsWhere(page, [](const Json& news) { return news.at("state").at("speed") == 1495; });
}

TEST_F(WebTest, News_WheelTurnsFast_AtMostThirtyASecond) {
    WebClient page = listener();
    page.news();
    std::jthread turning([this](const std::stop_token& stop) {
        while (!stop.stop_requested()) act({{{"do", "jog"}, {"turn", 7}}, {{"do", "jog"}, {"turn", -7}}});
    });
    const double begin = page.news().at("state").at("t");
    double end = begin;
    int count = 0;
    for (; count < 60; ++count) end = page.news().at("state").at("t");
    EXPECT_LE(count, (end - begin) * 30 + 1);
}

TEST_F(WebTest, Actions_OnTheDesk_ReachTheDriver) {
    ASSERT_EQ(act({{{"do", "press"}, {"key", 20}}, {{"do", "release"}, {"key", 20}}}).status, 204);
    waitFor(m_host, {{"event", "key"}, {"code", 20}, {"handled", false}});
    ASSERT_EQ(act({{"do", "press"}, {"key", 28}}).status, 204);
    waitFor(m_host, {{"event", "handler"}, {"code", 28}});
    ASSERT_EQ(act({{"do", "jog"}, {"turn", -1.5}}).status, 204);
    waitFor(m_host, {{"event", "handler"}, {"code", 47}, {"jog", -1}, {"jog_exact", -1.5}});
    ASSERT_EQ(act({{"do", "jog"}, {"turn", -0.25}}).status, 204);
    waitFor(m_host, {{"event", "handler"}, {"code", 47}, {"jog", 0}, {"jog_exact", -0.25}});
}

TEST_F(WebTest, Actions_BehindARefusedOne_AreDoneAllTheSame) {
    ASSERT_EQ(act({{"do", "press"}, {"key", 20}}).status, 204);
    EXPECT_EQ(act({{{"do", "press"}, {"key", 48}}, {{"do", "explode"}}, {{"do", "release"}, {"key", 20}}}).status, 400);
    waitFor(m_host, {{"event", "released"}, {"code", 20}});
}

TEST_F(WebTest, Lamp_SetByTheHost_IsOnTheBoard) {
    WebClient page = listener();
    for (const std::string state : {"F", "H", "B", "O"}) {
        ASSERT_EQ(act({{"do", "lamp"}, {"lamp", 46}, {"state", state}}).status, 204);
        newsWhere(page,
                  [&](const Json& news) { return news.at("state").at("lamps").get<std::string>().substr(45) == state; });
    }
}

/// Puts what news brought of a list behind what came before. Returns whether something that came is as `wanted`.
template <class Wanted>
bool collect(Json& all, const Json& more, Wanted wanted) {
    all.insert(all.end(), more.begin(), more.end());
    return std::any_of(more.begin(), more.end(), wanted);
}

/// As much of a list as there is in another.
Json beginning(const Json& list, const Json& other) {
    const auto size = static_cast<std::ptrdiff_t>(std::min(list.size(), other.size()));
    return Json(Json::array_t(list.begin(), list.begin() + size));
}

TEST_F(WebTest, Samples_RingMovedAndWheelTurned_AreToldOnceInOrderAndToWhoComesLater) {
    WebClient page = listener();
    Json samples = page.news().at("samples");
    EXPECT_EQ(samples, Json::array()) << "nothing has moved yet";
    ASSERT_EQ(act({{"do", "ring"}, {"position", 200}}).status, 204);
    const auto ringMoved = [](const Json& sample) { return sample.at(1) == 1495 && sample.at(2) == 0; };
    while (!collect(samples, page.news().at("samples"), ringMoved)) {
    }
    ASSERT_EQ(act({{"do", "press"}, {"key", 28}}).status, 204);
    const auto wheelTurned = [](const Json& sample) { return sample.at(1) == 1495 && sample.at(2) < 0; };
    bool told = false;  // not necessarily of the first: a sample that follows another at once is left out
    for (int turns = 0; turns < 200 && !told; ++turns) {
        ASSERT_EQ(act({{"do", "jog"}, {"turn", -1.5}}).status, 204);
        told = collect(samples, page.news().at("samples"), wheelTurned);
    }
    ASSERT_TRUE(told);
    EXPECT_EQ(std::fmod(samples.back().at(2).get<double>(), 1.5), 0);
    for (std::size_t i = 1; i < samples.size(); ++i) EXPECT_LT(samples.at(i - 1).at(0), samples.at(i).at(0));
    EXPECT_EQ(beginning(listener().news().at("samples"), samples), samples);
}

TEST_F(WebTest, Log_PortLost_IsToldOnceAndAllToWhoComesLater) {
    WebClient page = listener();
    Json log = Json::array();
    const std::string url = "http://127.0.0.1:" + std::to_string(m_port) + "/";
    EXPECT_TRUE(collect(log, page.news().at("log"), [&](const Json& line) {
        return line.at("heading") == "web" && line.at("text") == "the console is on the screen at " + url;
    }));
    ASSERT_EQ(act({{"do", "plug"}, {"on", false}}).status, 204);
    const auto lost = [](const Json& line) {
        return line.at("heading") == "port" && line.at("text").get<std::string>().ends_with(" is lost");
    };
    while (!collect(log, page.news().at("log"), lost)) {
    }
    EXPECT_EQ(beginning(listener().news().at("log"), log), log);
}

TEST_F(WebTest, Desk_Unplugged_PortIsLost) {
    WebClient page = listener();
    ASSERT_EQ(act({{"do", "plug"}, {"on", false}}).status, 204);
    waitFor(m_host, {{"event", "port"}, {"state", "lost"}});
    newsWhere(page, [](const Json& news) { return news.at("state").at("faults").at("plugged") == false; });
    ASSERT_EQ(act({{"do", "plug"}, {"on", true}}).status, 204);
    newsWhere(page, [](const Json& news) { return news.at("state").at("link") == "active"; });
}

TEST_F(WebTest, Desk_Another_DriverFindsItsVersion) {
    WebClient page = listener();
    newsWhere(page, [](const Json& news) {
        const Json& state = news.at("state");
        return state.at("link") == "active" && state.at("version") == 7 && !state.at("inputIgnored").get<bool>();
    });
    ASSERT_EQ(act({{"do", "be"}, {"firmware", 6}, {"model", "other"}}).status, 204);
    newsWhere(page, [](const Json& news) {
        const Json& state = news.at("state");
        return state.at("link") == "active" && state.at("version") == 6 && state.at("inputIgnored").get<bool>() &&
               state.at("faults").at("model") == "other";
    });
}

TEST_F(WebTest, Web_PortTaken_EndsWithTheReason) {
    Process second(cvhost({"--desk", "--web", std::to_string(m_port)}));
    EXPECT_EQ(second.wait(), 1);
    EXPECT_THAT(second.errors(),
                EndsWith("cvhost: the page cannot be served at http://127.0.0.1:" + std::to_string(m_port) +
                         "/: Address already in use; take another address or port with --web, or --web 0 for any free "
                         "port.\n"));
}

class WebShuttleLaw : public WebTest, public testing::WithParamInterface<std::string> {
protected:
    WebShuttleLaw() : WebTest({"--set", "BeyondPlayMultiplier=" + GetParam()}) {}
};

TEST_P(WebShuttleLaw, Law_EveryPositionOfTheRing_IsWhatTheDriverReports) {
    const Json law = listener().news().at("law");
    std::vector<int> expected;
    for (int position = 0; position <= 255; position += 16) {
        Json actions = Json::array();
        for (int i = position; i < position + 16; ++i) {
            const int speed = law.at("speeds").at(static_cast<std::size_t>(i));
            if (expected.empty() || expected.back() != speed) expected.push_back(speed);
            actions.push_back({{"do", "ring"}, {"position", i}});
        }
        ASSERT_EQ(act(actions).status, 204);
    }
    waitFor(m_host, {{"event", "handler"}, {"code", 0}, {"ispeed", expected.back()}});
    std::vector<int> reported;
    for (const Json& event : events(m_host, {{"event", "handler"}, {"code", 0}})) reported.push_back(event.at("ispeed"));
    EXPECT_EQ(reported, expected);
    EXPECT_EQ(expected.size() > 100, true);
}

INSTANTIATE_TEST_SUITE_P(Multipliers, WebShuttleLaw, testing::Values("1", "2.0", "0.5", "-3"), [](const auto& row) {
    std::string name = "Times" + row.param;
    for (char& letter : name) letter = letter == '.' || letter == '-' ? '_' : letter;
    return name;
});

}  // namespace
}  // namespace apps_test
