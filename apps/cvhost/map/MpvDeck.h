// A film in mpv as a deck.
//
// A thread of its own talks to mpv. If mpv hangs, the newest request waits here and delays no other thread.
//
// Threads: any.
#pragma once

#include <atomic>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

#include "apps/cvhost/map/Film.h"
#include "apps/cvhost/map/MpvProcess.h"

namespace cvhost::map {

class MpvDeck final : public transport::Deck {
public:
    /// Opens the file `film`. `changed` is called on the deck's thread after each message of mpv's. Throws MpvFailure.
    MpvDeck(const std::string& film, std::function<void()> changed);
    MpvDeck(const MpvDeck&) = delete;
    MpvDeck& operator=(const MpvDeck&) = delete;
    ~MpvDeck() override;

    void key(int code) override;
    void shuttle(int speed) override;
    void jog(std::int64_t parts) override;
    void wheel(bool on) override;
    transport::View view() override;

    /// mpv has ended.
    bool ended() const { return m_ended; }

private:
    template <class Act>
    void act(Act act);
    void talk();
    bool send();
    bool receive();
    void wake() noexcept;

    const std::function<void()> m_changed;
    MpvProcess m_mpv;
    const cvhost::FileDescriptor m_wake;
    std::mutex m_mutex;
    Film m_film;           ///< under m_mutex
    std::string m_unsent;  ///< the thread's
    std::string m_unread;  ///< the thread's
    std::atomic<bool> m_ended = false;
    std::atomic<bool> m_stopping = false;
    std::thread m_thread;
};

}  // namespace cvhost::map
