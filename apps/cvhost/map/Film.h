// A film in mpv, as far as a console works it: what the hands do and what mpv says comes in, what mpv is asked to do goes
// out. No I/O, no clock.
//
// The view is mpv's own state, also after a change made in mpv. A jog movement is an absolute target: the frame of the last
// target and the counts since. One target at a time is on its way. The newest one follows it; the others are never sent.
//
// Threads: one at a time.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <string_view>

#include "apps/cvhost/map/MpvKeys.h"
#include "apps/cvhost/transport/Deck.h"

namespace cvhost::map {

class Film {
public:
    // The hands; see transport::Transport. A jog movement stops what the ring has started, too.

    void key(int code);
    void shuttle(int speed);
    void releaseRing();
    void jog(std::int64_t parts);
    void wheel(bool on);

    /// mpv's own keys. One command at a time is on its way: mpv drops keys that come faster than it takes them.
    MpvKeys& mpvKeys() { return m_keys; }

    /// Begins anew with another mpv: forgets everything except the ring's position.
    void restart();
    /// Takes a line from mpv. A line that cannot be read, or reports something else, changes nothing.
    void hear(std::string_view line);
    /// The commands that are due, a line each; they count as sent.
    std::string takeCommands();
    /// The same at the end: all keys come up, and no answer is awaited.
    std::string takeLastCommands();

    /// As mpv last reported.
    transport::View view() const;

private:
    void run(int speed);
    void runByKey(int speed);
    void change(std::string_view property, const nlohmann::json& value);
    void measure();
    void setTime(double seconds);
    double secondsOf(std::int64_t frame) const;
    int speed() const;
    std::string keyCommand();
    bool isOpen() const { return m_duration > 0 && m_placeKnown; }

    bool m_greeted = false;

    // As mpv reports.
    bool m_paused = true;
    bool m_atEnd = false;
    bool m_backward = false;
    double m_speed = 1;
    double m_rate = 0;      ///< frames a second
    double m_duration = 0;  ///< seconds; 0 until the film is open
    bool m_placeKnown = false;
    bool m_placeDue = false;  ///< mpv has to be asked for it

    // What mpv must do.
    std::optional<int> m_run;     ///< a speed that has not been sent
    bool m_sentBackward = false;  ///< the direction that was sent last
    bool m_seekDue = false;       ///< to the playhead's frame
    bool m_seekSent = false;      ///< mpv has not finished the last one
    bool m_seekAnswered = false;  ///< mpv has taken it
    int m_ring = 0;               ///< the speed that the ring last asked for
    bool m_byRing = false;        ///< what was last run was the ring's, not a key's
    bool m_filmEnded = false;     ///< one of this mpv's
    std::int64_t m_waiting = 0;   ///< parts of a count that the wheel was turned by before the film was open

    MpvKeys m_keys;
    bool m_keySent = false;  ///< mpv has not answered the last one
    transport::Clip m_clip;
    transport::Playhead m_playhead{transport::Clip{}, 0};
    transport::Marks m_marks;
};

/// The exact rate for a container's frames a second: 23.976 means 24000/1001. Empty if it is out of range.
std::optional<transport::Rate> rateOf(double framesPerSecond);

}  // namespace cvhost::map
