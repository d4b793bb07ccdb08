// Two reports told as one.
#pragma once

#include <memory>
#include <utility>

#include "apps/cvhost/report/Report.h"

namespace cvhost::report {

class Tee final : public Report {
public:
    Tee(std::unique_ptr<Report> first, Report& second) : m_first(std::move(first)), m_second(second) {}

    void log(std::string_view text) override {
        m_first->log(text);
        m_second.log(text);
    }
    void port(std::string_view name, PortState state) override {
        m_first->port(name, state);
        m_second.port(name, state);
    }
    void key(int code, bool handled, int flags) override {
        m_first->key(code, handled, flags);
        m_second.key(code, handled, flags);
    }
    void wire(Direction direction, std::span<const unsigned char> bytes) override {
        m_first->wire(direction, bytes);
        m_second.wire(direction, bytes);
    }
    void rts(int level) override {
        m_first->rts(level);
        m_second.rts(level);
    }
    void handler(const HandlerRun& run) override {
        m_first->handler(run);
        m_second.handler(run);
    }
    void released(int code) override {
        m_first->released(code);
        m_second.released(code);
    }
    void active(int version) override {
        m_first->active(version);
        m_second.active(version);
    }
    void say(std::string_view heading, std::string_view text) override {
        m_first->say(heading, text);
        m_second.say(heading, text);
    }
    void desk(const DeskView& view) override {
        m_first->desk(view);
        m_second.desk(view);
    }
    void playhead(const PlayheadChange& change) override {
        m_first->playhead(change);
        m_second.playhead(change);
    }
    void idle() override {
        m_first->idle();
        m_second.idle();
    }

private:
    const std::unique_ptr<Report> m_first;
    Report& m_second;
};

}  // namespace cvhost::report
