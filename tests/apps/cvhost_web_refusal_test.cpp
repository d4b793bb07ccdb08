// What the page's server refuses: requests that are none, that come from elsewhere, and actions that cannot be.

#include <gmock/gmock.h>

#include <string>

#include "tests/apps/WebRig.h"

namespace apps_test {
namespace {

using testing::HasSubstr;
using testing::MatchesRegex;

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
        Refused{.name = "ForeignHost",
                .request = getWith("Host: desk.example:PORT\r\n"),
                .status = 403,
                .says = "does not go by that name"},
        Refused{.name = "HostBeginningLikeOurs",
                .request = getWith("Host: 127.0.0.1.example:PORT\r\n"),
                .status = 403,
                .says = "does not go by that name"},
        Refused{.name = "OtherPort",
                .request = getWith("Host: 127.0.0.1:1\r\n"),
                .status = 403,
                .says = "does not go by that name"},
        Refused{.name = "HostWithoutPort",
                .request = getWith("Host: 127.0.0.1\r\n"),
                .status = 403,
                .says = "does not go by that name"},
        Refused{.name = "AddressNotServed",
                .request = getWith("Host: 192.0.2.1:PORT\r\n"),
                .status = 403,
                .says = "does not go by that name"},
        Refused{.name = "NoHost", .request = "GET / HTTP/1.0\r\n\r\n", .status = 403, .says = "does not go by that name"},
        Refused{.name = "TwoHosts",
                .request = getWith("Host: 127.0.0.1:PORT\r\nHost: desk.example:PORT\r\n"),
                .status = 403,
                .says = "does not go by that name"},
        Refused{.name = "ForeignOrigin",
                .request = getWith("Host: 127.0.0.1:PORT\r\nOrigin: http://desk.example\r\n"),
                .status = 403,
                .says = "from elsewhere"},
        Refused{.name = "OriginOfOtherPort",
                .request = getWith("Host: 127.0.0.1:PORT\r\nOrigin: http://127.0.0.1:1\r\n"),
                .status = 403,
                .says = "from elsewhere"},
        Refused{.name = "OriginNull",
                .request = getWith("Host: 127.0.0.1:PORT\r\nOrigin: null\r\n"),
                .status = 403,
                .says = "from elsewhere"},
        Refused{.name = "SentByAForeignPage",
                .request = getWith("Host: 127.0.0.1:PORT\r\nSec-Fetch-Site: cross-site\r\n"),
                .status = 403,
                .says = "from elsewhere"},
        Refused{.name = "SentByAForeignPageInCapitals",
                .request = getWith("Host: 127.0.0.1:PORT\r\nSec-Fetch-Site: CROSS-SITE\r\n"),
                .status = 403,
                .says = "from elsewhere"},
        Refused{.name = "SentByAForeignPageToo",
                .request = getWith("Host: 127.0.0.1:PORT\r\nSec-Fetch-Site: same-origin\r\nSec-Fetch-Site: cross-site\r\n"),
                .status = 403,
                .says = "from elsewhere"},
        Refused{.name = "OriginEmpty",
                .request = getWith("Host: 127.0.0.1:PORT\r\nOrigin:\r\n"),
                .status = 403,
                .says = "from elsewhere"},
        Refused{.name = "OriginOfOneSpace",
                .request = getWith("Host: 127.0.0.1:PORT\r\nOrigin: \r\n"),
                .status = 403,
                .says = "from elsewhere"},
        Refused{
            .name = "TwoOrigins",
            .request = getWith("Host: 127.0.0.1:PORT\r\nOrigin: http://127.0.0.1:PORT\r\nOrigin: http://desk.example\r\n"),
            .status = 403,
            .says = "from elsewhere"},
        Refused{.name = "HostFolded",
                .request = getWith("Host: 127.0.0.1:PORT\r\n .desk.example\r\n"),
                .status = 403,
                .says = "does not go by that name"},
        Refused{.name = "PostFromAForeignPage",
                .request = "POST /do HTTP/1.1\r\nHost: 127.0.0.1:PORT\r\nOrigin: http://desk.example\r\nContent-Type: "
                           "application/json\r\nContent-Length: 2\r\n\r\n[]",
                .status = 403,
                .says = "from elsewhere"}),
    [](const auto& row) { return row.param.name; });

/// No actions, with these lines about its length.
std::string lengths(const std::string& lines) { return postWith("Content-Type: application/json\r\n" + lines, "[]"); }

std::string withNul(std::string text) {
    std::ranges::replace(text, '^', '\0');
    return text;
}

INSTANTIATE_TEST_SUITE_P(
    Lengths, WebRefusal,
    testing::Values(
        Refused{.name = "BeginsWithDigits",
                .request = lengths("Content-Length: 2abc\r\n"),
                .status = 400,
                .says = "not understood"},
        Refused{.name = "Two",
                .request = lengths("Content-Length: 2\r\nContent-Length: 3\r\n"),
                .status = 400,
                .says = "not understood"},
        Refused{.name = "List", .request = lengths("Content-Length: 2, 3\r\n"), .status = 400, .says = "not understood"},
        Refused{.name = "Signed", .request = lengths("Content-Length: +2\r\n"), .status = 400, .says = "not understood"},
        Refused{.name = "Negative", .request = lengths("Content-Length: -2\r\n"), .status = 400, .says = "not understood"},
        Refused{
            .name = "Hexadecimal", .request = lengths("Content-Length: 0x2\r\n"), .status = 400, .says = "not understood"},
        Refused{.name = "Overflowing",
                .request = lengths("Content-Length: 18446744073709551618\r\n"),
                .status = 400,
                .says = "not understood"},
        Refused{.name = "WithChunks",
                .request = lengths("Content-Length: 2\r\nTransfer-Encoding: chunked\r\n"),
                .status = 400,
                .says = "not understood"}),
    [](const auto& row) { return row.param.name; });

INSTANTIATE_TEST_SUITE_P(
    ControlCharacters, WebRefusal,
    testing::Values(Refused{.name = "NulInHost",
                            .request = withNul(getWith("Host: 127.0.0.1:PORT^.desk.example\r\n")),
                            .status = 400,
                            .says = "not understood"},
                    Refused{.name = "NulBehindHost",
                            .request = withNul(getWith("Host: 127.0.0.1:PORT^\r\n")),
                            .status = 400,
                            .says = "not understood"},
                    Refused{.name = "NulInOrigin",
                            .request = withNul(getWith("Host: 127.0.0.1:PORT\r\nOrigin: http://127.0.0.1:PORT^\r\n")),
                            .status = 400,
                            .says = "not understood"},
                    Refused{.name = "NulInPath",
                            .request = withNul(getWith("Host: 127.0.0.1:PORT\r\n", "/^")),
                            .status = 400,
                            .says = "not understood"},
                    Refused{.name = "ReturnAlone",
                            .request = getWith("Host: 127.0.0.1:PORT\r\nX: y\rHost: desk.example\r\n"),
                            .status = 400,
                            .says = "not understood"}),
    [](const auto& row) { return row.param.name; });

INSTANTIATE_TEST_SUITE_P(
    Malformed, WebRefusal,
    testing::Values(
        Refused{.name = "NoSuchPath",
                .request = getWith("Host: localhost:PORT\r\n", "/desk"),
                .status = 404,
                .says = "nothing here"},
        Refused{.name = "Climbing",
                .request = getWith("Host: localhost:PORT\r\n", "/../etc/passwd"),
                .status = 404,
                .says = "nothing here"},
        Refused{.name = "NotHttp", .request = "HELLO\r\n\r\n", .status = 400, .says = "not understood"},
        Refused{.name = "BodyOfAForm",
                .request = postOf("do=power", "application/x-www-form-urlencoded"),
                .status = 415,
                .says = "application/json"},
        Refused{.name = "BodyTooLarge", .request = postOf(std::string(5000, ' ')), .status = 413, .says = "too large"},
        Refused{.name = "BodyFarTooLarge", .request = postOf(std::string(500'000, ' ')), .status = 413, .says = "too large"},
        Refused{.name = "BodyInChunks", .request = chunked(6), .status = 411, .says = "Content-Length"},
        Refused{.name = "BodyInManyChunks", .request = chunked(200), .status = 411, .says = "Content-Length"},
        Refused{.name = "BodyOfNoLength",
                .request = postWith("Content-Type: application/json\r\n", "[]"),
                .status = 411,
                .says = "Content-Length"},
        Refused{.name = "BodyInGzip", .request = gzipped(), .status = 415, .says = "packed"},
        Refused{.name = "BodyInBrotli", .request = brotlied(), .status = 415, .says = "packed"},
        Refused{.name = "AddressTooLong",
                .request = getWith("Host: localhost:PORT\r\n", "/" + std::string(200'000, 'x')),
                .status = 413,
                .says = "too large"},
        Refused{.name = "LineTooLong",
                .request = getWith("Host: localhost:PORT\r\nX: " + std::string(200'000, 'x') + "\r\n"),
                .status = 400,
                .says = "not understood"}),
    [](const auto& row) { return row.param.name; });

INSTANTIATE_TEST_SUITE_P(
    Actions, WebRefusal,
    testing::Values(
        Refused{.name = "NotJson", .request = postOf("{"), .status = 400, .says = "not JSON"},
        Refused{.name = "NestedVeryDeep",
                .request = postOf(std::string(2000, '[') + std::string(2000, ']')),
                .status = 400,
                .says = "an object"},
        Refused{.name = "Number", .request = postOf("1"), .status = 400, .says = "an object"},
        Refused{.name = "NoAction", .request = postOf("{}"), .status = 400, .says = "\"do\" is missing"},
        Refused{.name = "UnknownAction", .request = postOf(R"({"do":"explode"})"), .status = 400, .says = "no such action"},
        Refused{.name = "ActionNoText", .request = postOf(R"({"do":[]})"), .status = 400, .says = "no such action"},
        Refused{.name = "KeyMissing", .request = postOf(R"({"do":"press"})"), .status = 400, .says = "\"key\" is missing"},
        Refused{
            .name = "KeyTooHigh", .request = postOf(R"({"do":"press","key":48})"), .status = 400, .says = "from 0 to 47"},
        Refused{
            .name = "KeyNegative", .request = postOf(R"({"do":"release","key":-1})"), .status = 400, .says = "from 0 to 47"},
        Refused{.name = "KeyHuge",
                .request = postOf(R"({"do":"press","key":18446744073709551615})"),
                .status = 400,
                .says = "from 0 to 47"},
        Refused{
            .name = "KeyNotWhole", .request = postOf(R"({"do":"press","key":1.5})"), .status = 400, .says = "from 0 to 47"},
        Refused{.name = "RingTooFar",
                .request = postOf(R"({"do":"ring","position":256})"),
                .status = 400,
                .says = "from 0 to 255"},
        Refused{.name = "TurnTooFar",
                .request = postOf(R"({"do":"jog","turn":127.5})"),
                .status = 400,
                .says = "from -127 to 127"},
        Refused{
            .name = "TurnInfinite", .request = postOf(R"({"do":"jog","turn":1e999})"), .status = 400, .says = "not JSON"},
        Refused{.name = "PlugNoTruth", .request = postOf(R"({"do":"plug","on":1})"), .status = 400, .says = "true or false"},
        Refused{.name = "FirmwareTooHigh",
                .request = postOf(R"({"do":"be","firmware":4096,"model":"V4"})"),
                .status = 400,
                .says = "from 0 to 4095"},
        Refused{.name = "ModelUnknown",
                .request = postOf(R"({"do":"be","firmware":7,"model":"V5"})"),
                .status = 400,
                .says = "one of V4, other"},
        Refused{.name = "LampTooHigh",
                .request = postOf(R"({"do":"lamp","lamp":47,"state":"F"})"),
                .status = 400,
                .says = "from 1 to 46"},
        Refused{.name = "LampStateUnknown",
                .request = postOf(R"({"do":"lamp","lamp":1,"state":"Q"})"),
                .status = 400,
                .says = "one of O, F, H, B"},
        Refused{.name = "TooManyActions",
                .request = postOf("[" + std::string(64, ' ') +
                                  "1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1]"),
                .status = 400,
                .says = "more than 32"}),
    [](const auto& row) { return row.param.name; });

}  // namespace
}  // namespace apps_test
