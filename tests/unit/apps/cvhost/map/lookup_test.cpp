// A target at a host with a name, while the name server is silent. The resolver is this program's own: it answers when the
// test has it answer.
#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netdb.h>

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "apps/cvhost/map/OscTarget.h"
#include "apps/cvhost/map/TargetThread.h"
#include "tests/support/OscProgram.h"

namespace {

using namespace cvhost::map;
using namespace std::string_literals;

constexpr std::chrono::minutes patience{1};

/// Lookups of names. They outlive the test that has begun them.
class Resolver {
public:
    static Resolver& instance() {
        static auto& resolver = *new Resolver;
        return resolver;
    }

    /// The answer to a question: getaddrinfo's error.
    int ask() {
        std::unique_lock lock(m_mutex);
        ++m_waiting;
        m_changed.notify_all();
        m_changed.wait(lock, [this] { return m_answer.has_value(); });
        --m_waiting;
        m_changed.notify_all();
        return *m_answer;
    }
    bool waitUntilAsked() {
        std::unique_lock lock(m_mutex);
        return m_changed.wait_for(lock, patience, [this] { return m_waiting > 0; });
    }
    /// From now on this is the answer; nothing: silence, once all questions before have been answered.
    void setAnswer(std::optional<int> error) {
        std::unique_lock lock(m_mutex);
        if (!error) m_changed.wait(lock, [this] { return m_waiting == 0; });
        m_answer = error;
        m_changed.notify_all();
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::optional<int> m_answer;
    int m_waiting = 0;
};

class LookupTest : public testing::Test {
protected:
    LookupTest() { Resolver::instance().setAnswer(std::nullopt); }
    ~LookupTest() override { Resolver::instance().setAnswer(EAI_AGAIN); }

    std::unique_ptr<OscTarget> target(const Application& application) {
        return std::make_unique<OscTarget>(application, [this] {
            const std::lock_guard lock(m_mutex);
            m_changed.notify_all();
        });
    }
    /// Waits for a trouble, or for its end.
    void waitForTrouble(const OscTarget& target, bool wanted) {
        std::unique_lock lock(m_mutex);
        EXPECT_TRUE(m_changed.wait_for(lock, patience, [&] { return target.trouble().has_value() == wanted; }));
    }
    /// The next packet, except repeated greetings.
    std::string next() {
        std::string packet = m_program.receive();
        while (packet == m_hello) packet = m_program.receive();
        return packet;
    }
    static Action press(const char* address) {
        return {.kind = Action::Kind::press,
                .hold = 8,
                .stroke = std::make_shared<const OscMessage>(OscMessage{.address = address})};
    }

    OscProgram m_program;
    const Application m_named{
        .kind = TargetKind::osc, .host = "studio", .port = m_program.port(), .hello = OscMessage{.address = "/hi"}};
    const std::string m_hello = "/hi\0,\0\0\0"s;
    Resolver& m_resolver = Resolver::instance();
    std::mutex m_mutex;
    std::condition_variable m_changed;
};

}  // namespace

extern "C" [[gnu::visibility("default")]] int getaddrinfo(const char* host, const char* service, const addrinfo* wanted,
                                                          addrinfo** found) {
    static const auto resolve = reinterpret_cast<decltype(&getaddrinfo)>(::dlsym(RTLD_NEXT, "getaddrinfo"));
    if ((wanted->ai_flags & AI_NUMERICHOST) != 0) return resolve(host, service, wanted, found);
    if (const int error = Resolver::instance().ask(); error != 0) return error;
    return resolve("127.0.0.1", service, wanted, found);
}

TEST_F(LookupTest, Take_LookupHangs_NeitherItNorItsEndWaits) {
    TargetThread silent(target(m_named));
    ASSERT_TRUE(m_resolver.waitUntilAsked());
    silent.send(press("/lost"));
    Application here = m_named;
    here.host = "127.0.0.1";
    TargetThread other(target(here));
    EXPECT_EQ(m_program.receive(), m_hello);
    other.send(press("/play"));
    EXPECT_EQ(next(), "/play\0\0\0,i\0\0\0\0\0\1"s);
    EXPECT_EQ(silent.trouble(), std::nullopt);
}

TEST_F(LookupTest, Take_LookupHasAnswered_MessagesGoOut) {
    const auto named = target(m_named);
    ASSERT_TRUE(m_resolver.waitUntilAsked());
    named->take(press("/lost"));
    m_resolver.setAnswer(0);
    EXPECT_EQ(m_program.receive(), m_hello);
    named->take({.kind = Action::Kind::release, .hold = 8});
    named->take(press("/play"));
    EXPECT_EQ(next(), "/play\0\0\0,i\0\0\0\0\0\1"s);
}

TEST_F(LookupTest, Trouble_HostUnknownAtFirst_LastsUntilItIsFound) {
    const auto named = target(m_named);
    ASSERT_TRUE(m_resolver.waitUntilAsked());
    m_resolver.setAnswer(EAI_NONAME);
    waitForTrouble(*named, true);
    EXPECT_EQ(named->trouble(), "cannot find the host \"studio\": Name or service not known");
    m_resolver.setAnswer(0);
    waitForTrouble(*named, false);
    EXPECT_EQ(m_program.receive(), m_hello);
}

TEST_F(LookupTest, Trouble_PortInUse_SaysSo) {
    Application taken = m_named;
    taken.listen = m_program.port();
    const auto named = target(taken);
    m_resolver.setAnswer(0);
    waitForTrouble(*named, true);
    EXPECT_EQ(named->trouble(), "cannot listen on UDP port " + std::to_string(taken.listen) + ": Address already in use");
}

TEST_F(LookupTest, Construct_AddressInNumbers_IsReachedAtOnce) {
    for (const char* address : {"127.0.0.1", "127.1"}) {
        Application here = m_named;
        here.host = address;
        here.hello.reset();
        target(here)->take(press("/play"));
        EXPECT_EQ(next(), "/play\0\0\0,i\0\0\0\0\0\1"s) << address;
    }
}
