#include "apps/cvhost/run/Work.h"

#include <utility>

#include "apps/cvhost/map/MpvProcess.h"
#include "apps/cvhost/map/MpvSocket.h"
#include "apps/cvhost/map/Targets.h"
#include "apps/cvhost/run/RunSettings.h"
#include "apps/cvhost/transport/ClipDeck.h"

namespace cvhost::run {
namespace {

/// How often the map's file is looked at.
constexpr std::chrono::milliseconds mapInterval{500};

PlayheadChange playheadOf(const transport::View& view) {
    return {.frame = view.state.frame,
            .place = view.place,
            .speed = view.state.speed,
            .markIn = view.state.markIn,
            .markOut = view.state.markOut,
            .framesPerSecond = view.clip.rate.nominal()};
}

}  // namespace

Work::Work(const Options& options, Stage stage) : m_options(options), m_stage(std::move(stage)) {
    setDeck(options.film.empty() ? nullptr : std::make_unique<map::MpvProcess>(options.film));
    if (const std::string name = mapOf(options); !name.empty()) {
        m_map.emplace(map::openMap(name), [this](const map::Application& application) { return makeTarget(application); });
        const map::MapProblems problems = m_map->startTarget();
        if (!problems.empty() && !m_stage.mayWait) throw map::TargetFailure(problems.front());
        m_stage.say("map", "the map is " + m_map->file().path);
        tellMissing(problems);
    }
    // An mpv that runs already may have told where it is.
    m_playheadNews.emplace(m_mpv != nullptr ? transport::State{} : m_deck->view().state);
}

/// The deck is the film in that mpv; without one, the built-in clip.
void Work::setDeck(std::unique_ptr<map::MpvLink> mpv) {
    std::unique_ptr<transport::Deck> deck;
    m_mpv = nullptr;
    m_mpvThere.reset();
    if (mpv) {
        auto film = std::make_unique<map::MpvDeck>(std::move(mpv), m_stage.wake);
        m_mpv = film.get();
        deck = std::move(film);
    } else {
        deck = std::make_unique<transport::ClipDeck>(m_options.clip, [] { return Clock::now().time_since_epoch(); });
    }
    if (m_transport) {
        m_transport->setDeck(*deck);
    } else {
        m_transport.emplace(*deck);
    }
    m_deck = std::move(deck);
}

std::unique_ptr<map::Target> Work::makeTarget(const map::Application& application) {
    if (application.kind == map::TargetKind::mpv) {
        setDeck(std::make_unique<map::MpvSocket>(map::socketPath(application)));
    } else if (m_mpv != nullptr) {
        setDeck(nullptr);
    }
    return map::makeTarget(application, m_mpv, m_stage.wake);
}

std::string Work::status() const {
    if (!m_map) return {};
    const std::string map = "map " + m_map->file().name;
    return m_missing || m_mapTrouble ? "waiting for the target of " + map : map;
}

PlayheadChange Work::playhead() { return playheadOf(m_deck->view()); }

void Work::tellMap(const EventSink& sink) {
    if (m_map) sink(Circumstance{Circumstance::Kind::map, m_map->file().path, m_map->text()});
}

std::optional<PlayheadChange> Work::advance(iConsoleResource& console, web::PageState* page) {
    const transport::View view = m_transport->advance(console);
    if (page != nullptr) {
        page->setWheel(console.wheel_enabled());
        if (m_shownClip != view.clip) page->setClip(view.clip, view.state);
        m_shownClip = view.clip;
    }
    if (!m_playheadNews->take(view.state, Clock::now().time_since_epoch())) return std::nullopt;
    return playheadOf(view);
}

void Work::lendLamps(iConsoleResource& console) {
    m_transport->lendLamps();
    if (m_map) m_map->showLamps(console, true);
}

bool Work::followMap(iConsoleResource& console, web::PageState* page) {
    if (!m_map) return false;
    m_map->showLamps(console, m_transport->lampsLent());
    if (m_mpv != nullptr) tellMpv();
    tellTrouble();
    const auto legends = page != nullptr ? m_map->takeLegends() : std::nullopt;
    if (legends) page->setLegends(legends->layer, legends->keys);
    if (Clock::now() < m_nextMapRefresh) return false;
    m_nextMapRefresh = Clock::now() + mapInterval;
    const bool changed = readMapAgain();
    tellMissing(m_map->startTarget());
    const auto failure = m_map->failure();
    if (std::exchange(m_mapFailure, failure) != failure && failure) m_stage.complain(*failure);
    return changed;
}

bool Work::readMapAgain() {
    const map::Mapping::News news = m_map->refresh();
    if (news.changed) m_stage.say("map", m_map->file().path + " has been read again");
    for (const std::string& problem : news.problems) m_stage.complain(problem);
    if (!news.problems.empty()) m_stage.complain("the map stays as it was");
    if (news.changed || !news.problems.empty()) m_mapTrouble.reset();  // the target may be another one
    return news.changed;
}

void Work::tellMpv() {
    const bool there = m_mpv->connected();
    if (std::exchange(m_mpvThere, there) == there) return;
    m_stage.say("map", there ? "mpv is there" : "waiting for mpv");
}

void Work::tellMissing(const map::MapProblems& problems) {
    const auto missing = problems.empty() ? std::nullopt : std::optional(problems.front());
    if (std::exchange(m_missing, missing) == missing) return;
    if (missing) return m_stage.complain(*missing + "; cvhost tries again");
    m_stage.say("map", "the map's target is there");
}

void Work::tellTrouble() {
    const auto trouble = m_map->trouble();
    if (std::exchange(m_mapTrouble, trouble) == trouble) return;
    if (trouble) return m_stage.complain(*trouble + "; cvhost tries again");
    m_stage.say("map", "the map's target is there");
}

void Work::end() {
    if (m_map) m_map->end();
}

}  // namespace cvhost::run
