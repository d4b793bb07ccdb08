// How the page's server begins: where it listens, with how little it begins, and what it says if it cannot.

#include <gmock/gmock.h>

#include <list>
#include <span>
#include <string>
#include <vector>

#include "apps/cvhost/web/WebGuard.h"
#include "apps/cvhost/web/WebInterfaces.h"
#include "tests/apps/CvhostRig.h"
#include "tests/apps/WebClient.h"

namespace apps_test {
namespace {

using testing::EndsWith;
using testing::HasSubstr;

TEST(WebHost, PortEighty_NeedNotBeSaid) {
    const cvhost::web::WebAddress eighty{.host = "127.0.0.1", .port = 80};
    for (const char* host : {"127.0.0.1", "127.0.0.1:80", "localhost", "[::1]", "[::1]:80"})
        EXPECT_TRUE(cvhost::web::hostIsOurs(host, eighty)) << host;
    for (const char* host : {"", "desk.example", "127.0.0.1:81", "[::1", "::1", "80", ":80"})
        EXPECT_FALSE(cvhost::web::hostIsOurs(host, eighty)) << host;
    EXPECT_FALSE(cvhost::web::hostIsOurs("127.0.0.1", {.host = "127.0.0.1", .port = 8080}));
}

class WebStart : public CvhostTest {
protected:
    /// `cvhost run` with a page, and with less of something than it might have.
    Process::Setup limited(const Arguments& limit, const Arguments& more) const {
        Process::Setup setup = cvhost(more);
        setup.command.insert(setup.command.begin(), limit.begin(), limit.end());
        return setup;
    }
};

TEST_F(WebStart, Descriptors_Few_PageIsServedWhileSlowOnesHoldOn) {
    Process host(limited({"/usr/bin/prlimit", "--nofile=64"}, {"--desk", "--web", "0", "--events", "json"}));
    waitFor(host, {{"event", "active"}});
    const std::string told = host.errors();
    const int port = std::stoi(told.substr(told.find("http://127.0.0.1:") + 17));
    std::list<WebClient> slow;
    for (int i = 0; i < 300; ++i) slow.emplace_back(port);
    EXPECT_EQ(WebClient::ask(port, WebClient::get(port, "/")).status, 200);
    EXPECT_EQ(WebClient::post(port, {{"do", "press"}, {"key", 5}}).status, 204);
    waitFor(host, {{"event", "key"}, {"code", 5}});
}

#if !CVHOST_SANITIZED  // sanitizers need far more address space
/// From a limit at which the program hardly loads to one at which the page is served.
TEST_F(WebStart, Memory_TooLittle_IsExplainedAndNoPortOpened) {
    Process desk(cvdesk({"--rfc2217", "0"}));
    const std::string port = whereIs(desk);
    int explained = 0;
    for (int megabytes = 32;; megabytes += 8) {
        ASSERT_LT(megabytes, 4096);
        Process host(limited({"/usr/bin/prlimit", "--as=" + std::to_string(megabytes * 1'000'000)},
                             {"--port", port, "--web", "0", "--events", "json", "--for", "0"}));
        const int status = host.wait();
        const std::string errors = host.errors();
        if (errors.find("the console is on the screen at ") != errors.npos) break;
        EXPECT_THAT(status, testing::AnyOf(1, 127)) << megabytes << ": " << errors;  // 127: not even loaded
        EXPECT_THAT(errors, EndsWith("\n")) << megabytes;
        if (errors.find("the page's server cannot start: ") == errors.npos) continue;
        ++explained;
        EXPECT_TRUE(events(host, {{"event", "port"}}).empty()) << "the console stays dark";
    }
    EXPECT_GT(explained, 0);
}
#endif

TEST_F(WebStart, Address_OfTheNetwork_NeedsItsOwnOption) {
    for (const std::string address : {"0.0.0.0:0", "[::]:0", "192.0.2.7:0", "desk.example:0", "127.desk.example:0"}) {
        Process host(cvhost({"--desk", "--web", address}));
        EXPECT_EQ(host.wait(), 2) << address;
        EXPECT_THAT(host.errors(), HasSubstr("everyone on the network could press keys; add --web-open")) << address;
    }
}

TEST_F(WebStart, Open_WithoutAnAddress_NamesOne) {
    for (const Arguments& web : {Arguments{}, Arguments{"--web", "0"}, Arguments{"--web", "localhost:0"}}) {
        Arguments arguments{"--desk", "--web-open"};
        arguments.insert(arguments.end(), web.begin(), web.end());
        Process host(cvhost(arguments));
        EXPECT_EQ(host.wait(), 2);
        EXPECT_THAT(host.errors(), HasSubstr("such as --web 0.0.0.0:8080"));
    }
}

TEST_F(WebStart, Open_AddressOfAnother_WarnsNothingAndGivesTheReason) {
    Process host(cvhost({"--desk", "--web", "192.0.2.7:0", "--web-open"}));
    EXPECT_EQ(host.wait(), 1);
    EXPECT_THAT(host.errors(), HasSubstr("http://192.0.2.7:0/: Cannot assign requested address; "));
    EXPECT_THAT(host.errors(), testing::Not(HasSubstr("warning")));
}

TEST(WebInterfaces, Reachable_EveryAddress_IsOneOfTheMachine) {
    const std::vector<std::string> own{"192.0.2.7", "2001:db8::7"};
    EXPECT_EQ(cvhost::web::webUrl(cvhost::web::reachable({.host = "0.0.0.0", .port = 8080}, own)), "http://192.0.2.7:8080/");
    EXPECT_EQ(cvhost::web::webUrl(cvhost::web::reachable({.host = "::", .port = 8080}, own)), "http://192.0.2.7:8080/");
    EXPECT_EQ(cvhost::web::webUrl(cvhost::web::reachable({.host = "::", .port = 8080}, std::span(own).last(1))),
              "http://[2001:db8::7]:8080/");
    EXPECT_EQ(cvhost::web::webUrl(cvhost::web::reachable({.host = "0.0.0.0", .port = 8080}, std::span(own).last(1))),
              "http://127.0.0.1:8080/");
    EXPECT_EQ(cvhost::web::webUrl(cvhost::web::reachable({.host = "desk.example", .port = 8080}, own)),
              "http://desk.example:8080/");
}

TEST(WebInterfaces, MachineAddresses_OfThisMachine_AreForOthers) {
    for (const std::string& address : ::cvhost::web::machineAddresses()) {
        EXPECT_FALSE(::cvhost::web::isLoopback(address)) << address;
        EXPECT_TRUE(::cvhost::web::webAddress((address.find(':') != address.npos ? "[" + address + "]" : address) + ":80"))
            << address;
    }
}

}  // namespace
}  // namespace apps_test
