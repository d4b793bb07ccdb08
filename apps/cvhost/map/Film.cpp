#include "apps/cvhost/map/Film.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <utility>

namespace cvhost::map {
namespace {

using Json = nlohmann::json;
namespace keys = transport::keys;

/// The direction has two names: mpv 0.35 has only the first, and mpv 0.40 reports changes only under the second.
constexpr std::array properties{"pause",    "speed",       "play-dir", "play-direction",
                                "time-pos", "eof-reached", "duration", "container-fps"};
constexpr int seekRequest = 1;
constexpr int keyRequest = 2;
constexpr int placeRequest = 3;
constexpr double mpvSlowest = 0.01;  ///< times play
constexpr double mpvFastest = 100;
/// What mpv says of these properties is flat. A tree's copy is made by recursion.
constexpr int deepest = 4;
constexpr std::int64_t mostWaiting = transport::Playhead::jogParts * 1'000'000'000;

std::string lineOf(const Json& request) { return request.dump(-1, ' ', false, Json::error_handler_t::replace) + '\n'; }

std::string command(std::initializer_list<Json> words, int request = 0) {
    return lineOf({{"command", Json::array_t(words)}, {"request_id", request}});
}

double number(const Json& value, double otherwise) { return value.is_number() ? value.get<double>() : otherwise; }

}  // namespace

std::optional<transport::Rate> rateOf(double framesPerSecond) {
    if (!(framesPerSecond >= 1 && framesPerSecond <= 240)) return std::nullopt;
    const auto whole = std::llround(framesPerSecond);
    const auto ntsc = std::llround(framesPerSecond * 1.001);
    const double offWhole = std::abs(framesPerSecond - static_cast<double>(whole));
    const double offNtsc = std::abs(framesPerSecond - static_cast<double>(ntsc) / 1.001);
    if (offWhole < 0.004 && offWhole <= offNtsc) return transport::Rate{whole, 1};
    if (offNtsc < 0.004) return transport::Rate{ntsc * 1000, 1001};
    return transport::rate(std::to_string(std::llround(framesPerSecond * 1000)) + "/1000");
}

void Film::key(int code) {
    switch (code) {
        case keys::fastForward:
            return runByKey(transport::fastSpeed);
        case keys::fastReverse:
            return runByKey(-transport::fastSpeed);
        case keys::play:
            return runByKey(transport::playSpeed);
        case keys::stop:
            return runByKey(0);
        case keys::reverse:
            return runByKey(-transport::playSpeed);
        case keys::markIn:
            return m_marks.set(true, m_playhead.frame());
        case keys::markOut:
            return m_marks.set(false, m_playhead.frame());
        default:
            return;
    }
}

void Film::shuttle(int speed) {
    if (speed == m_ring) return;
    m_ring = speed;
    m_byRing = true;
    run(speed);
}

void Film::releaseRing() {
    m_ring = 0;
    if (std::exchange(m_byRing, false)) run(0);
}

void Film::runByKey(int speed) {
    m_byRing = false;
    run(speed);
}

void Film::run(int speed) { m_run = speed; }

void Film::jog(std::int64_t parts) {
    if (!isOpen()) {
        if (!m_filmEnded) m_waiting = std::clamp(m_waiting + parts, -mostWaiting, mostWaiting);
        return;
    }
    if (parts == 0) return;
    if (m_run.value_or(speed()) != 0) run(0);
    m_playhead.jog(parts);
    m_seekDue = true;
}

void Film::wheel(bool on) {
    if (on && m_run.value_or(speed()) != 0) run(0);
}

void Film::restart() {
    const int ring = m_ring;
    *this = {};
    m_ring = ring;
}

std::string Film::takeCommands() {
    std::string text;
    if (!std::exchange(m_greeted, true)) {
        // A key stays down in mpv when the program that held it is killed. The empty name means all keys; without a name,
        // mpv 0.35 crashes.
        text += command({"keyup", ""});
        int id = 1;
        for (const char* property : properties) text += command({"observe_property", id++, property});
    }
    // A paused mpv may not report a place that it had reached before it was observed.
    if (std::exchange(m_placeDue, false)) text += command({"get_property", "time-pos"}, placeRequest);
    if (!m_keySent) text += keyCommand();
    if (m_run) {
        const int speed = *std::exchange(m_run, std::nullopt);
        if (speed == 0) text += command({"set_property", "pause", true});
        const double times = speed == 0 ? 1.0 : std::abs(speed) / double{transport::playSpeed};
        text += command({"set_property", "speed", std::clamp(times, mpvSlowest, mpvFastest)});
        const bool backward = speed < 0;
        if (std::exchange(m_sentBackward, backward) != backward || m_backward != backward) {
            text += command({"set_property", "play-dir", backward ? "backward" : "forward"});
            if (speed == 0) m_seekDue = true;  // a change of direction shows another frame
        }
        if (speed != 0) text += command({"set_property", "pause", false});
    }
    if (m_seekDue && !m_seekSent && m_duration > 0) {
        m_seekDue = false;
        m_seekSent = true;
        m_seekAnswered = false;
        // A user's mpv may be set to seek to key frames, so time-pos would not be exact.
        text += command({"seek", secondsOf(m_playhead.frame()), "absolute+exact"}, seekRequest);
    }
    return text;
}

std::string Film::takeLastCommands() {
    std::string text = takeCommands();
    m_keys.releaseAll();
    for (std::string last; !(last = keyCommand()).empty();) text += last;
    return text;
}

/// The next one, or nothing.
std::string Film::keyCommand() {
    const auto next = m_keys.takeCommand();
    m_keySent = next.has_value();
    if (!next) return {};
    // mpv's main thread runs it and takes the key next. Otherwise another thread runs it, and the main thread may not get
    // to the key before the next one comes.
    return lineOf({{"command", {next->verb, next->key}}, {"request_id", keyRequest}, {"async", true}});
}

void Film::hear(std::string_view line) {
    const auto isShallow = [](int depth, Json::parse_event_t, const Json&) { return depth <= deepest; };
    const Json message = Json::parse(line, isShallow, false);
    if (!message.is_object()) return;
    const auto member = [&](const char* name) {
        const auto found = message.find(name);
        return found == message.end() ? Json() : *found;
    };
    const Json event = member("event");
    if (event == "property-change") {
        const Json name = member("name");
        if (name.is_string()) change(name.get_ref<const std::string&>(), member("data"));
    } else if (event == "playback-restart") {
        if (m_seekAnswered) m_seekSent = false;
        m_placeDue = true;
    } else if (event == "end-file") {
        // Place, target and marks were in this film.
        m_seekDue = m_seekSent = m_placeKnown = false;
        m_filmEnded = true;
        m_waiting = 0;
        m_marks = {};
    } else if (event.is_null() && member("request_id") == seekRequest) {
        m_seekAnswered = true;
        if (member("error") != "success") m_seekSent = false;
    } else if (event.is_null() && member("request_id") == placeRequest) {
        change("time-pos", member("data"));
    } else if (event.is_null() && member("request_id") == keyRequest) {
        m_keySent = false;
    }
}

void Film::change(std::string_view property, const Json& value) {
    if (property == "pause") m_paused = value == true;
    if (property == "eof-reached") m_atEnd = value == true;
    if ((property == "play-dir" || property == "play-direction") && value.is_string()) m_backward = value == "backward";
    if (property == "speed") m_speed = number(value, 1);
    if (property == "duration") m_duration = std::max(number(value, 0), 0.0);
    if (property == "container-fps") m_rate = number(value, 0);
    if (property == "duration" || property == "container-fps") measure();
    if (property == "time-pos" && value.is_number()) {
        setTime(value.get<double>());
        m_placeKnown = true;
    }
    if (isOpen()) jog(std::exchange(m_waiting, 0));
}

void Film::measure() {
    transport::Clip clip;
    clip.rate = rateOf(m_rate).value_or(transport::Rate{});
    const double rate = static_cast<double>(clip.rate.numerator) / static_cast<double>(clip.rate.denominator);
    const double frames = std::clamp(std::round(m_duration * rate), 1.0, static_cast<double>(transport::Clip::mostFrames));
    clip.frames = static_cast<std::int64_t>(frames);
    if (clip == m_clip) return;
    m_clip = clip;
    m_playhead = transport::Playhead(clip, m_playhead.frame());
}

/// While no target is on its way, a time other than the target's comes from mpv: its user chose it, or the film ran on.
void Film::setTime(double seconds) {
    if (m_seekDue || m_seekSent) return;
    const double frames =
        seconds * static_cast<double>(m_clip.rate.numerator) / static_cast<double>(m_clip.rate.denominator);
    const auto frame =
        static_cast<std::int64_t>(std::clamp(std::round(frames), 0.0, static_cast<double>(m_clip.lastFrame())));
    if (frame != m_playhead.frame()) m_playhead = transport::Playhead(m_clip, frame);
}

double Film::secondsOf(std::int64_t frame) const {
    return static_cast<double>(frame * m_clip.rate.denominator) / static_cast<double>(m_clip.rate.numerator);
}

int Film::speed() const {
    if (m_paused || m_atEnd || m_duration <= 0) return 0;
    const double speed =
        std::clamp(m_speed, 0.0, double{transport::fastestSpeed} / transport::playSpeed) * transport::playSpeed;
    return static_cast<int>(std::lround(m_backward ? -speed : speed));
}

transport::View Film::view() const {
    return {.clip = m_clip,
            .state = {.frame = m_playhead.frame(), .speed = speed(), .markIn = m_marks.in, .markOut = m_marks.out},
            .place = static_cast<double>(m_playhead.frame())};
}

}  // namespace cvhost::map
