// The page's server: whom it serves, what it refuses, and what the page can do.

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
#include "tests/apps/CvhostRig.h"
#include "tests/apps/WebClient.h"

namespace apps_test {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::MatchesRegex;

class WebTest : public CvhostTest {
protected:
    /// A host with a simulated console and the page, both up.
    explicit WebTest(const Arguments& more = {}) : m_host(setup(more)) {
        waitFor(m_host, {{"event", "active"}});
        const std::string told = m_host.errors();
        const std::string head = "cvhost: the console is on the screen at http://127.0.0.1:";
        const std::size_t at = told.find(head);
        if (at == told.npos) throw std::runtime_error("no address: " + told);
        m_port = std::stoi(told.substr(at + head.size()));
    }

    Process::Setup setup(const Arguments& more) const {
        Arguments arguments{"--desk", "--web", "0", "--events", "json"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        return cvhost(arguments);
    }

    WebAnswer act(const Json& actions) const { return WebClient::post(m_port, actions); }
    /// Listens to /events.
    WebClient listener(int receiveBuffer = 0) const {
        WebClient client(m_port, receiveBuffer);
        client.send(WebClient::get(m_port, "/events"));
        return client;
    }
    /// Its next news that are as `wanted`.
    template <class Wanted>
    static Json newsWhere(WebClient& client, Wanted wanted) {
        for (;;) {
            const Json news = client.news();
            if (wanted(news)) return news;
        }
    }

    Process m_host;
    int m_port = 0;
};

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

struct Refused {
    std::string name;
    std::string request;  ///< with PORT for the port
    int status;
    std::string says;
};

void PrintTo(const Refused& refused, std::ostream* out) { *out << refused.name; }

class WebRefusal : public WebTest, public testing::WithParamInterface<Refused> {};

std::string withPort(std::string text, int port) {
    for (std::size_t at = text.find("PORT"); at != text.npos; at = text.find("PORT"))
        text.replace(at, 4, std::to_string(port));
    return text;
}

std::string postWith(const std::string& headers, const std::string& body) {
    return "POST /do HTTP/1.1\r\nHost: localhost:PORT\r\n" + headers + "\r\n" + body;
}

std::string postOf(const std::string& body, const std::string& type = "application/json", const std::string& more = "") {
    return postWith("Content-Type: " + type + "\r\nContent-Length: " + std::to_string(body.size()) + "\r\n" + more, body);
}

std::string getWith(const std::string& headers, const std::string& path = "/events") {
    return "GET " + path + " HTTP/1.1\r\n" + headers + "\r\n";
}

/// No actions, and behind them spaces in chunks of a kilobyte.
std::string chunked(int kilobytes) {
    std::string text = "2\r\n[]\r\n";
    for (int i = 0; i < kilobytes; ++i) text += "400\r\n" + std::string(0x400, ' ') + "\r\n";
    return postWith("Content-Type: application/json\r\nTransfer-Encoding: chunked\r\n", text + "0\r\n\r\n");
}

/// No actions, packed.
std::string gzipped() {
    using namespace std::string_literals;
    return postOf("\x1f\x8b\x08\0\0\0\0\0\x02\xff\x8b\x8e\x05\0\x29\xbb\x4c\x0d\x02\0\0\0"s, "application/json",
                  "Content-Encoding: gzip\r\n");
}

std::string brotlied() {
    using namespace std::string_literals;
    return postOf("\x8b\0\x80\x5b\x5d\x03"s, "application/json", "Content-Encoding: br\r\n");
}

TEST_P(WebRefusal, Request_Refused_GetsItsStatusAndOneSentence) {
    const WebAnswer answer = WebClient::ask(m_port, withPort(GetParam().request, m_port));
    EXPECT_EQ(answer.status, GetParam().status) << answer.head << answer.body;
    EXPECT_THAT(answer.body, MatchesRegex("[^\n]+\\.\n"));
    EXPECT_THAT(answer.body, HasSubstr(GetParam().says));
    EXPECT_EQ(WebClient::ask(m_port, WebClient::get(m_port, "/")).status, 200) << "and it goes on serving";
}

INSTANTIATE_TEST_SUITE_P(
    Strangers, WebRefusal,
    testing::Values(
        Refused{"ForeignHost", getWith("Host: desk.example:PORT\r\n"), 403, "does not go by that name"},
        Refused{"HostBeginningLikeOurs", getWith("Host: 127.0.0.1.example:PORT\r\n"), 403, "does not go by that name"},
        Refused{"OtherPort", getWith("Host: 127.0.0.1:1\r\n"), 403, "does not go by that name"},
        Refused{"HostWithoutPort", getWith("Host: 127.0.0.1\r\n"), 403, "does not go by that name"},
        Refused{"AddressNotServed", getWith("Host: 192.0.2.1:PORT\r\n"), 403, "does not go by that name"},
        Refused{"NoHost", "GET / HTTP/1.0\r\n\r\n", 403, "does not go by that name"},
        Refused{"TwoHosts", getWith("Host: 127.0.0.1:PORT\r\nHost: desk.example:PORT\r\n"), 403, "does not go by that name"},
        Refused{"ForeignOrigin", getWith("Host: 127.0.0.1:PORT\r\nOrigin: http://desk.example\r\n"), 403, "from elsewhere"},
        Refused{"OriginOfOtherPort", getWith("Host: 127.0.0.1:PORT\r\nOrigin: http://127.0.0.1:1\r\n"), 403,
                "from elsewhere"},
        Refused{"OriginNull", getWith("Host: 127.0.0.1:PORT\r\nOrigin: null\r\n"), 403, "from elsewhere"},
        Refused{"SentByAForeignPage", getWith("Host: 127.0.0.1:PORT\r\nSec-Fetch-Site: cross-site\r\n"), 403,
                "from elsewhere"},
        Refused{"SentByAForeignPageInCapitals", getWith("Host: 127.0.0.1:PORT\r\nSec-Fetch-Site: CROSS-SITE\r\n"), 403,
                "from elsewhere"},
        Refused{"SentByAForeignPageToo",
                getWith("Host: 127.0.0.1:PORT\r\nSec-Fetch-Site: same-origin\r\nSec-Fetch-Site: cross-site\r\n"), 403,
                "from elsewhere"},
        Refused{"OriginEmpty", getWith("Host: 127.0.0.1:PORT\r\nOrigin:\r\n"), 403, "from elsewhere"},
        Refused{"OriginOfOneSpace", getWith("Host: 127.0.0.1:PORT\r\nOrigin: \r\n"), 403, "from elsewhere"},
        Refused{"TwoOrigins",
                getWith("Host: 127.0.0.1:PORT\r\nOrigin: http://127.0.0.1:PORT\r\nOrigin: http://desk.example\r\n"), 403,
                "from elsewhere"},
        Refused{"HostFolded", getWith("Host: 127.0.0.1:PORT\r\n .desk.example\r\n"), 403, "does not go by that name"},
        Refused{"PostFromAForeignPage",
                "POST /do HTTP/1.1\r\nHost: 127.0.0.1:PORT\r\nOrigin: http://desk.example\r\nContent-Type: "
                "application/json\r\nContent-Length: 2\r\n\r\n[]",
                403, "from elsewhere"}),
    [](const auto& row) { return row.param.name; });

/// No actions, with these lines about its length.
std::string lengths(const std::string& lines) { return postWith("Content-Type: application/json\r\n" + lines, "[]"); }

std::string withNul(std::string text) {
    std::ranges::replace(text, '^', '\0');
    return text;
}

INSTANTIATE_TEST_SUITE_P(
    Lengths, WebRefusal,
    testing::Values(Refused{"BeginsWithDigits", lengths("Content-Length: 2abc\r\n"), 400, "not understood"},
                    Refused{"Two", lengths("Content-Length: 2\r\nContent-Length: 3\r\n"), 400, "not understood"},
                    Refused{"List", lengths("Content-Length: 2, 3\r\n"), 400, "not understood"},
                    Refused{"Signed", lengths("Content-Length: +2\r\n"), 400, "not understood"},
                    Refused{"Negative", lengths("Content-Length: -2\r\n"), 400, "not understood"},
                    Refused{"Hexadecimal", lengths("Content-Length: 0x2\r\n"), 400, "not understood"},
                    Refused{"Overflowing", lengths("Content-Length: 18446744073709551618\r\n"), 400, "not understood"},
                    Refused{"WithChunks", lengths("Content-Length: 2\r\nTransfer-Encoding: chunked\r\n"), 400,
                            "not understood"}),
    [](const auto& row) { return row.param.name; });

INSTANTIATE_TEST_SUITE_P(
    ControlCharacters, WebRefusal,
    testing::Values(Refused{"NulInHost", withNul(getWith("Host: 127.0.0.1:PORT^.desk.example\r\n")), 400, "not understood"},
                    Refused{"NulBehindHost", withNul(getWith("Host: 127.0.0.1:PORT^\r\n")), 400, "not understood"},
                    Refused{"NulInOrigin", withNul(getWith("Host: 127.0.0.1:PORT\r\nOrigin: http://127.0.0.1:PORT^\r\n")),
                            400, "not understood"},
                    Refused{"NulInPath", withNul(getWith("Host: 127.0.0.1:PORT\r\n", "/^")), 400, "not understood"},
                    Refused{"ReturnAlone", getWith("Host: 127.0.0.1:PORT\r\nX: y\rHost: desk.example\r\n"), 400,
                            "not understood"}),
    [](const auto& row) { return row.param.name; });

INSTANTIATE_TEST_SUITE_P(
    Malformed, WebRefusal,
    testing::Values(Refused{"NoSuchPath", getWith("Host: localhost:PORT\r\n", "/desk"), 404, "nothing here"},
                    Refused{"Climbing", getWith("Host: localhost:PORT\r\n", "/../etc/passwd"), 404, "nothing here"},
                    Refused{"NotHttp", "HELLO\r\n\r\n", 400, "not understood"},
                    Refused{"BodyOfAForm", postOf("do=power", "application/x-www-form-urlencoded"), 415, "application/json"},
                    Refused{"BodyTooLarge", postOf(std::string(5000, ' ')), 413, "too large"},
                    Refused{"BodyFarTooLarge", postOf(std::string(500'000, ' ')), 413, "too large"},
                    Refused{"BodyInChunks", chunked(6), 411, "Content-Length"},
                    Refused{"BodyInManyChunks", chunked(200), 411, "Content-Length"},
                    Refused{"BodyOfNoLength", postWith("Content-Type: application/json\r\n", "[]"), 411, "Content-Length"},
                    Refused{"BodyInGzip", gzipped(), 415, "packed"}, Refused{"BodyInBrotli", brotlied(), 415, "packed"},
                    Refused{"AddressTooLong", getWith("Host: localhost:PORT\r\n", "/" + std::string(200'000, 'x')), 413,
                            "too large"},
                    Refused{"LineTooLong", getWith("Host: localhost:PORT\r\nX: " + std::string(200'000, 'x') + "\r\n"), 400,
                            "not understood"}),
    [](const auto& row) { return row.param.name; });

INSTANTIATE_TEST_SUITE_P(
    Actions, WebRefusal,
    testing::Values(
        Refused{"NotJson", postOf("{"), 400, "not JSON"},
        Refused{"NestedVeryDeep", postOf(std::string(2000, '[') + std::string(2000, ']')), 400, "an object"},
        Refused{"Number", postOf("1"), 400, "an object"}, Refused{"NoAction", postOf("{}"), 400, "\"do\" is missing"},
        Refused{"UnknownAction", postOf(R"({"do":"explode"})"), 400, "no such action"},
        Refused{"ActionNoText", postOf(R"({"do":[]})"), 400, "no such action"},
        Refused{"KeyMissing", postOf(R"({"do":"press"})"), 400, "\"key\" is missing"},
        Refused{"KeyTooHigh", postOf(R"({"do":"press","key":48})"), 400, "from 0 to 47"},
        Refused{"KeyNegative", postOf(R"({"do":"release","key":-1})"), 400, "from 0 to 47"},
        Refused{"KeyHuge", postOf(R"({"do":"press","key":18446744073709551615})"), 400, "from 0 to 47"},
        Refused{"KeyNotWhole", postOf(R"({"do":"press","key":1.5})"), 400, "from 0 to 47"},
        Refused{"RingTooFar", postOf(R"({"do":"ring","position":256})"), 400, "from 0 to 255"},
        Refused{"TurnTooFar", postOf(R"({"do":"jog","turn":127.5})"), 400, "from -127 to 127"},
        Refused{"TurnInfinite", postOf(R"({"do":"jog","turn":1e999})"), 400, "not JSON"},
        Refused{"PlugNoTruth", postOf(R"({"do":"plug","on":1})"), 400, "true or false"},
        Refused{"FirmwareTooHigh", postOf(R"({"do":"be","firmware":4096,"model":"V4"})"), 400, "from 0 to 4095"},
        Refused{"ModelUnknown", postOf(R"({"do":"be","firmware":7,"model":"V5"})"), 400, "one of V4, other"},
        Refused{"LampTooHigh", postOf(R"({"do":"lamp","lamp":47,"state":"F"})"), 400, "from 1 to 46"},
        Refused{"LampStateUnknown", postOf(R"({"do":"lamp","lamp":1,"state":"Q"})"), 400, "one of O, F, H, B"},
        Refused{"TooManyActions",
                postOf("[" + std::string(64, ' ') + "1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1]"),
                400, "more than 32"}),
    [](const auto& row) { return row.param.name; });

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
    ASSERT_EQ(act({{{"do", "press"}, {"key", 28}}, {{"do", "jog"}, {"turn", -1.5}}}).status, 204);
    waitFor(m_host, {{"event", "handler"}, {"code", 47}, {"jog", -1}, {"jog_exact", -1.5}});
    ASSERT_EQ(act({{"do", "jog"}, {"turn", -0.25}}).status, 204);
    waitFor(m_host, {{"event", "handler"}, {"code", 47}, {"jog", 0}, {"jog_exact", -0.25}});
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
