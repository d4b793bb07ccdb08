// What a step of an example does, by its verb; and what was seen to differ.
//
// Threads: one at a time.
#pragma once

#include <functional>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "tests/scenario/protocol/Document.h"

namespace protocol {

using Verbs = std::map<std::string, std::function<void(const std::string& rest)>>;

class Differences {
public:
    void at(const Step& step) { m_where = "line " + std::to_string(step.line) + ", " + step.verb + " " + step.rest; }

    template <class Expected, class Seen>
    void expect(const Expected& expected, const Seen& seen) {
        if (expected == seen) return;
        std::ostringstream text;
        text << m_where << ": expected [" << expected << "], saw [" << seen << "]";
        m_found.push_back(text.str());
    }
    const std::vector<std::string>& found() const { return m_found; }

private:
    std::string m_where;
    std::vector<std::string> m_found;
};

/// Does the steps in order; one that no verb is for differs.
inline void play(const Example& example, const Verbs& verbs, Differences& differences) {
    for (const Step& step : example.steps) {
        differences.at(step);
        const auto verb = verbs.find(step.verb);
        differences.expect(true, verb != verbs.end());
        if (verb != verbs.end() && verb->second) verb->second(step.rest);
    }
}

}  // namespace protocol
