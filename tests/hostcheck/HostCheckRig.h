// What the tests of the host check share: a run of cvhost check-host, and its results by id.
#pragma once

#include <map>
#include <set>
#include <string>

#include "hostcheck/Promises.h"
#include "tests/apps/CvhostRig.h"

namespace hostcheck_test {

using apps_test::Arguments;
using apps_test::Json;

struct CheckRun {
    int status = -1;
    std::string printed;
    Json json;

    /// What came of each promise that was tried: "pass", "fail", "not tried", or "running" where the host has ended.
    std::map<std::string, std::string> results() const;
    /// Failed, or the end of the host.
    std::set<std::string> failed() const;
    /// One line for each that did not pass.
    std::string describe() const;
};

class HostCheckTest : public apps_test::CvhostTest {
protected:
    /// cvhost check-host with these arguments, to its end.
    CheckRun check(Arguments arguments, const std::map<std::string, std::string>& environment = {}) const;
};

/// All promises up to a level.
std::set<std::string> idsUpTo(int level);

}  // namespace hostcheck_test
