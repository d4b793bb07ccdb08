// The plug-in built as another host's makers would build it: their declarations in place of ours, their library.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdio.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <string>

namespace {

namespace fs = std::filesystem;
using testing::Each;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

struct Ended {
    int status;
    std::string output;
};

Ended run(const std::string& command) {
    Ended ended{-1, {}};
    FILE* pipe = popen(("exec 2>&1; " + command).c_str(), "r");
    if (pipe == nullptr) return ended;
    for (int c = fgetc(pipe); c != EOF; c = fgetc(pipe)) ended.output.push_back(static_cast<char>(c));
    ended.status = pclose(pipe);
    return ended;
}

/// Another host in a folder of its own: its headers at their place, its library under another name.
class OtherHost : public testing::Test {
protected:
    void SetUp() override {
        std::string scratch = fs::temp_directory_path() / "corvane-otherhost-XXXXXX";
        ASSERT_NE(mkdtemp(scratch.data()), nullptr);
        m_root = scratch;
        fs::create_directory(m_root / "host");
        fs::copy(SOURCE "/host/api", m_root / "host/api");
        fs::copy(HOST_LIBRARY, library());
    }
    void TearDown() override { fs::remove_all(m_root); }

    std::string library() const { return m_root / "libotherhost.so"; }
    std::string build() const { return m_root / "build"; }
    std::string plugin() const { return build() + "/bin/CorvaneConsole.so"; }

    Ended buildPlugin() const {
        return run("cmake -G Ninja -S " SOURCE " -B " + build() + " -DCMAKE_CXX_COMPILER=" COMPILER " -DCORVANE_HOST_ROOT=" +
                   m_root.string() + " -DCORVANE_HOST_LIBRARIES=" + library() + " && cmake --build " + build());
    }

    /// Every file that the compiler has read.
    std::set<std::string> filesRead() const {
        std::istringstream lines(run("ninja -C " + build() + " -t deps").output);
        std::set<std::string> files;
        for (std::string line; std::getline(lines, line);) {
            if (line.starts_with("    /")) files.insert(line.substr(4));
        }
        return files;
    }

    fs::path m_root;
};

TEST_F(OtherHost, Build_AgainstOtherDeclarations_UsesNoneOfOurs) {
    const Ended built = buildPlugin();
    ASSERT_EQ(built.status, 0) << built.output;

    const std::set<std::string> read = filesRead();
    EXPECT_TRUE(read.contains(m_root / "host/api/Plugin.h"));
    EXPECT_TRUE(read.contains(SOURCE "/console/Console.h"));
    EXPECT_THAT(read, Each(Not(StartsWith(SOURCE "/host/"))));

    const Ended names = run(SOURCE "/tools/check/check --plugin " + plugin() + " --host " + library() + " exports");
    EXPECT_EQ(names.status, 0) << names.output;
}

TEST_F(OtherHost, Build_OtherDeclarationsDrawOurWarnings_Succeeds) {
    std::ofstream(m_root / "host/api/Plugin.h", std::ios::app)
        << "inline int truncated(double value) { return (int)value; }\n";
    const Ended built = buildPlugin();
    EXPECT_EQ(built.status, 0) << built.output;
    EXPECT_TRUE(filesRead().contains(m_root / "host/api/Plugin.h"));
}

TEST_F(OtherHost, Build_OtherDeclarationsLackOne_Fails) {
    std::ofstream(m_root / "host/api/Comms.h") << "#pragma once\n";
    const Ended built = buildPlugin();
    EXPECT_NE(built.status, 0);
    EXPECT_THAT(built.output, HasSubstr("CommsPort"));
}

}  // namespace
