// What the console works: a deck, which is the built-in clip or a film in mpv, and with a map another program.
//
// Threads: the application's main thread. The mapping's events may come on any.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "apps/cvhost/map/Mapping.h"
#include "apps/cvhost/map/MpvDeck.h"
#include "apps/cvhost/map/MpvLink.h"
#include "apps/cvhost/run/Options.h"
#include "apps/cvhost/transport/ConsoleTransport.h"
#include "apps/cvhost/transport/PlayheadNews.h"
#include "apps/cvhost/web/PageState.h"
#include "host/api/ConsoleResource.h"
#include "host/core/Events.h"

namespace cvhost::run {

class Work {
public:
    struct Stage {
        std::function<void()> wake;  ///< called on any thread when the deck or the target has news
        std::function<void(std::string_view heading, std::string_view text)> say;
        std::function<void(std::string_view sentence)> complain;
        /// The map's target may come later, such as when the user gets the right to it. Otherwise it must be there at the
        /// start.
        bool mayWait;
    };

    /// The film and the map are those of the command line or the settings. Throws TargetFailure.
    Work(const Options& options, Stage stage);

    transport::ConsoleTransport& transport() { return *m_transport; }
    /// From now on a client of the control socket sets the lamps.
    void lendLamps(iConsoleResource& console);
    /// Null without a map.
    map::Mapping* mapping() { return m_map ? &*m_map : nullptr; }
    /// What the map is doing, as a part of a sentence; empty without a map.
    std::string status() const;
    /// The film's mpv has ended, and does not come back.
    bool ended() const { return m_mpv != nullptr && m_mpv->ended(); }
    PlayheadChange playhead();
    /// Tells which map is in force; nothing without one.
    void tellMap(const EventSink& sink);

    /// Lets the lamps and the page, if there is one, follow the deck. A change that is an event.
    std::optional<PlayheadChange> advance(iConsoleResource& console, web::PageState* page);
    /// Lets the lamps and the page follow the map. True: the map's file has been read again.
    bool followMap(iConsoleResource& console, web::PageState* page);
    /// Releases everything. The map does nothing more.
    void end();

private:
    using Clock = std::chrono::steady_clock;

    void setDeck(std::unique_ptr<map::MpvLink> mpv);
    std::unique_ptr<map::Target> makeTarget(const map::Application& application);
    void tellMpv();
    void tellTrouble();
    void tellMissing(const map::MapProblems& problems);
    bool readMapAgain();

    const Options& m_options;
    const Stage m_stage;
    std::unique_ptr<transport::Deck> m_deck;
    map::MpvDeck* m_mpv = nullptr;  ///< the deck, when it is a film
    std::optional<transport::ConsoleTransport> m_transport;
    std::optional<transport::PlayheadNews> m_playheadNews;
    std::optional<transport::Clip> m_shownClip;  ///< on the page
    std::optional<map::Mapping> m_map;
    std::optional<bool> m_mpvThere;
    std::optional<std::string> m_mapFailure;  ///< as it was said
    std::optional<std::string> m_mapTrouble;  ///< as it was said
    std::optional<std::string> m_missing;     ///< why the map has no target, as it was said
    Clock::time_point m_nextMapRefresh{};
};

}  // namespace cvhost::run
