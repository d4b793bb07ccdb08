// A film in mpv as a deck.
//
// A thread of its own talks to mpv. If mpv hangs, the newest request waits here and delays no other thread.
//
// A user's mpv may go and come back. Each connection begins anew: mpv is asked for its state, and nothing that was asked
// before, or while there was no mpv, is sent to it. Marks are dropped: another mpv may show another film.
//
// Threads: any.
#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>

#include "apps/cvhost/map/Film.h"
#include "apps/cvhost/map/MpvLink.h"

namespace cvhost::map {

class MpvDeck final : public transport::Deck {
public:
    /// Connects at once if mpv is there. `changed` is called on the deck's thread after each message of mpv's, and when mpv
    /// comes or goes.
    MpvDeck(std::unique_ptr<MpvLink> link, std::function<void()> changed);
    MpvDeck(const MpvDeck&) = delete;
    MpvDeck& operator=(const MpvDeck&) = delete;
    /// Releases what is held in a user's mpv, which runs on. If that mpv hangs, this takes five seconds.
    ~MpvDeck() override;

    void key(int code) override;
    void shuttle(int speed) override;
    void releaseRing() override;
    void jog(std::int64_t parts) override;
    void wheel(bool on) override;
    transport::View view() override;

    // mpv's own keys; see MpvKeys. They reach mpv in order. Without an mpv they are lost, and nothing is held.

    void press(int hold, std::string_view name);
    void release(int hold);
    void tap(std::string_view name);
    void releaseAll();

    /// mpv is there. It may hang.
    bool connected();
    /// mpv has ended, and does not come back.
    bool ended() const { return m_ended; }

private:
    template <class Act>
    void act(Act act);
    void talk();
    bool isTimeToConnect();
    bool connect();
    void converse();
    void disconnect();
    void takeLeave();
    bool send();
    bool sendUnsent();
    bool receive();
    void wake() noexcept;
    void drainWakes() noexcept;

    using Clock = std::chrono::steady_clock;

    const std::function<void()> m_changed;
    const std::unique_ptr<MpvLink> m_link;
    const cvhost::FileDescriptor m_wake;
    std::mutex m_mutex;
    Film m_film;                      ///< under m_mutex
    bool m_connected = false;         ///< under m_mutex
    cvhost::FileDescriptor m_socket;  ///< the thread's; closed before m_link ends
    std::string m_unsent;             ///< the thread's
    std::string m_unread;             ///< the thread's
    Clock::time_point m_nextAttempt;  ///< the thread's
    std::atomic<bool> m_ended = false;
    std::atomic<bool> m_stopping = false;
    std::thread m_thread;
};

}  // namespace cvhost::map
