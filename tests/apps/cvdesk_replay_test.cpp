// cvdesk as the console of a recording.

#include <gmock/gmock.h>

#include <chrono>
#include <csignal>
#include <string>

#include "apps/recording/Recording.h"
#include "tests/apps/CvhostRig.h"

namespace apps_test {
namespace {

using testing::HasSubstr;

const std::string startUp = RECORDINGS "/startup-firmware-7.jsonl";

class CvdeskReplay : public CvhostTest {
protected:
    Process::Setup replay(const std::string& file) const { return cvdesk({"--rfc2217", "0", "--replay", file}); }
    /// What the desk says last.
    static std::string verdict(Process& desk) {
        return desk.waitForLine([](const std::string& line) { return line.starts_with("replay "); });
    }
    /// Bytes and RTS levels from the host until its port was lost.
    static std::string doneBeforeLoss(Process& host) {
        std::string done;
        for (const Json& event : events(host)) {
            if (event.at("event") == "port" && event.at("state") == "lost") break;
            if (event.at("event") == "rts") done += rtsText(event.at("level"));
            if (event.at("event") == "wire" && event.at("dir") == "tx") done += event.at("bytes");
        }
        return done;
    }
    static std::string rtsText(int level) { return "<RTS " + std::to_string(level) + ">"; }
};

TEST_F(CvdeskReplay, StartUp_PlayedToTheDriver_BringsItUpAndEnds) {
    Process desk(replay(startUp));
    Process host(cvhost({"--events", "json", "--port", whereIs(desk)}));
    waitFor(host, {{"event", "active"}, {"version", 7}});
    host.signal(SIGINT);  // the recording ends with the host's
    EXPECT_EQ(host.wait(), 0) << host.errors();
    verdict(desk);
    desk.wait();
}

TEST_F(CvdeskReplay, PortLostAtTheEnd_HostThatConnectsAgainIsNoDifference) {
    std::string lines;
    std::string recorded;
    for (const recording::Event& event : recording::readFile(startUp).events) {
        if (event.kind == recording::Event::Kind::call && event.text == "exit") {
            lines += recording::lineFor({.at = event.at, .kind = recording::Event::Kind::lost, .port = "/dev/ttyUSB0"});
            break;
        }
        lines += recording::lineFor(event);
        if (event.kind == recording::Event::Kind::tx) recorded += event.text;
        if (event.kind == recording::Event::Kind::rts) recorded += rtsText(event.number);
    }
    const std::string file = m_folder.write("lost", recording::headerLine("test", std::chrono::system_clock::now()) + lines);
    bool asRecorded = false;
    for (int tries = 0; tries < 5 && !asRecorded; ++tries) {
        Process desk(replay(file));
        Process host(cvhost({"--events", "json", "--wire", "--port", whereIs(desk)}));
        waitFor(host, {{"event", "port"}, {"state", "lost"}});
        const int status = desk.wait();
        host.signal(SIGINT);
        host.wait();
        // A machine that holds the start-up up makes it reset the console again: another host than the recording's.
        asRecorded = doneBeforeLoss(host) == recorded;
        EXPECT_TRUE(status == 0 || !asRecorded) << verdict(desk);
    }
    if (!asRecorded) GTEST_SKIP() << "this machine is so busy that the host never does what it did in the recording";
}

TEST_F(CvdeskReplay, NoRecording_IsSaidWithItsLine) {
    Process desk(replay(m_folder.write("other", "{\"format\":\"other\"}\n")));
    EXPECT_EQ(desk.wait(), 2);
    EXPECT_THAT(desk.errors(), HasSubstr("other, line 1: this is no recording of a serial port."));
    Process missing(replay("/no/such/file"));
    EXPECT_EQ(missing.wait(), 2);
}

TEST_F(CvdeskReplay, HostThatNeverCame_IsADifference) {
    Process desk(replay(startUp));
    whereIs(desk);
    desk.signal(SIGTERM);
    EXPECT_EQ(desk.wait(), 1);
    EXPECT_THAT(verdict(desk), HasSubstr("ends with 0 differences"));
}

}  // namespace
}  // namespace apps_test
