#include "tests/hostcheck/HostCheckRig.h"

#include <fstream>

namespace hostcheck_test {

std::map<std::string, std::string> CheckRun::results() const {
    std::map<std::string, std::string> found;
    if (!json.is_object()) return found;
    for (const Json& result : json.at("results")) found[result.at("id")] = result.at("result");
    return found;
}

std::set<std::string> CheckRun::failed() const {
    std::set<std::string> ids;
    for (const auto& [id, result] : results()) {
        if (result == "fail" || result == "running") ids.insert(id);
    }
    return ids;
}

std::string CheckRun::describe() const {
    std::string text = "status " + std::to_string(status) + '\n';
    if (!json.is_object()) return text + printed;
    for (const Json& result : json.at("results")) {
        if (result.at("result") == "pass") continue;
        text += result.at("id").get<std::string>() + ": " + result.at("result").get<std::string>() + ": " +
                result.at("seen").get<std::string>() + '\n';
    }
    return text;
}

CheckRun HostCheckTest::check(Arguments arguments, const std::map<std::string, std::string>& environment) const {
    const std::string file = m_folder.path() / "results.json";
    apps_test::Process::Setup setup = cvhost({});
    setup.command.resize(1);
    setup.command.insert(setup.command.end(), {"check-host", "--json", file});
    setup.command.insert(setup.command.end(), arguments.begin(), arguments.end());
    for (const auto& [name, value] : environment) setup.environment[name] = value;
    apps_test::Process host(setup);
    CheckRun run;
    run.status = host.wait();
    for (const std::string& line : host.lines()) run.printed += line + '\n';
    run.printed += host.errors();
    run.json = Json::parse(std::ifstream(file), nullptr, false);
    return run;
}

std::set<std::string> idsUpTo(int level) {
    std::set<std::string> ids;
    for (const hostcheck::Promise& promise : hostcheck::promises) {
        if (promise.level <= level) ids.insert(promise.id);
    }
    return ids;
}

}  // namespace hostcheck_test
