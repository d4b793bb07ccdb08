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

std::string textOf(const fs::path& file) {
    std::ostringstream text;
    text << std::ifstream(file).rdbuf();
    return text.str();
}

/// `text` in one line: CMake breaks its messages where it likes.
std::string inOneLine(const std::string& text) {
    std::istringstream words(text);
    std::string line;
    for (std::string word; words >> word;) line += word + ' ';
    return line;
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

    std::string header(const std::string& name) const { return m_root / "host/api" / name; }

    Ended configure() const {
        return run("cmake -G Ninja -S " SOURCE " -B " + build() +
                   " -DCMAKE_CXX_COMPILER=" COMPILER " -DCORVANE_HOST_ROOT=" + m_root.string() +
                   " -DCORVANE_HOST_LIBRARIES=" + library() + " -DCMAKE_INSTALL_PREFIX=" + (m_root / "installed").string());
    }
    Ended buildTarget(const std::string& target) const {
        const Ended configured = configure();
        return configured.status != 0 ? configured : run("cmake --build " + build() + " --target " + target);
    }
    /// Changes a header of the other host.
    void change(const std::string& name, const std::string& from, const std::string& to) const {
        std::string changed = textOf(header(name));
        const std::size_t at = changed.find(from);
        ASSERT_NE(at, std::string::npos) << name << " has no " << from;
        std::ofstream(header(name)) << changed.replace(at, from.size(), to);
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

/// Its folder stays, so that a later run builds what has changed since.
class WholeOtherHost : public OtherHost {
protected:
    void SetUp() override {
        m_root = FOLDER;
        fs::remove_all(m_root / "installed");
        fs::create_directories(m_root / "host/api");
        for (const auto& entry : fs::directory_iterator(m_root / "host/api")) {
            if (!fs::exists(SOURCE "/host/api" / entry.path().filename())) fs::remove(entry);
        }
        for (const auto& entry : fs::directory_iterator(SOURCE "/host/api")) {
            const std::string name = entry.path().filename();
            const std::string drawsWarning = "inline int truncated(double value) { return (int)value; }\n";
            put(name, textOf(entry) + (name == "Plugin.h" ? drawsWarning : ""));
        }
        fs::copy(HOST_LIBRARY, library(), fs::copy_options::update_existing);
    }
    void TearDown() override {}

private:
    void put(const std::string& name, const std::string& text) const {
        if (textOf(header(name)) != text) std::ofstream(header(name)) << text;
    }
};

TEST_F(WholeOtherHost, Build_OtherDeclarationsThatDrawOurWarnings_UsesNoneOfOurs) {
    const Ended built = buildTarget("install");
    ASSERT_EQ(built.status, 0) << built.output;

    const std::set<std::string> read = filesRead();
    EXPECT_TRUE(read.contains(m_root / "host/api/Plugin.h"));
    EXPECT_TRUE(read.contains(build() + "/rooms/console/Console.h"));
    EXPECT_THAT(read, Each(Not(StartsWith(SOURCE "/host/"))));
    EXPECT_FALSE(fs::exists(build() + "/rooms/host"));

    const Ended names = run(SOURCE "/tools/check/check --plugin " + plugin() + " --host " + library() + " exports");
    EXPECT_EQ(names.status, 0) << names.output;

    std::set<std::string> installed;
    for (const auto& entry : fs::recursive_directory_iterator(m_root / "installed")) {
        if (entry.is_regular_file()) installed.insert(entry.path().filename());
    }
    EXPECT_EQ(installed, (std::set<std::string>{"CorvaneConsole.so", "CorvaneHostCheck.so"}));
}

TEST_F(OtherHost, Configure_OneHeaderMissing_NamesIt) {
    for (const auto& entry : fs::directory_iterator(SOURCE "/host/api")) {
        const std::string name = entry.path().filename();
        fs::remove(header(name));
        const Ended configured = configure();
        EXPECT_NE(configured.status, 0) << name;
        EXPECT_THAT(inOneLine(configured.output), HasSubstr("lacks " + name + ".")) << name;
        fs::copy(entry.path(), header(name));
    }
    EXPECT_EQ(configure().status, 0);
}

TEST_F(OtherHost, Configure_NoSuchFolder_NamesTheHeaders) {
    fs::remove_all(m_root / "host");
    const Ended configured = configure();
    EXPECT_NE(configured.status, 0);
    EXPECT_THAT(inOneLine(configured.output), HasSubstr("lacks Comms.h, Component.h, "));
}

/// What configuring found may be gone when the compiler comes.
TEST_F(OtherHost, Build_HeaderGone_IsNotFoundAmongOurs) {
    ASSERT_EQ(configure().status, 0);
    fs::remove(header("Ptr.h"));
    const Ended gone = run("cmake --build " + build() + " --target host_declarations");
    EXPECT_NE(gone.status, 0) << gone.output;
}

TEST_F(OtherHost, Build_HeaderNeedsOneMore_IsLookedForInThatHostAlone) {
    std::ofstream(header("Ptr.h"), std::ios::app) << "#include \"host/core/Events.h\"\n";
    const Ended built = buildTarget("host_declarations");
    EXPECT_NE(built.status, 0);
    EXPECT_THAT(built.output, HasSubstr("host/core/Events.h"));
}

/// A declaration that differs from what the driver needs, and what the compiler then says.
struct Difference {
    const char* name;
    const char* header;
    const char* from;
    const char* to;
    const char* message;
};

void PrintTo(const Difference& difference, std::ostream* out) { *out << difference.name; }

class OtherDeclarations : public OtherHost, public testing::WithParamInterface<Difference> {};

TEST_P(OtherDeclarations, Build_Different_SaysWhatToDo) {
    change(GetParam().header, GetParam().from, GetParam().to);
    const Ended built = buildTarget("host_declarations");
    EXPECT_NE(built.status, 0);
    EXPECT_THAT(built.output, HasSubstr(GetParam().message));
}

constexpr Difference differences[] = {
    {"Kind", "Plugin.h", "cvPluginDeviceDriver = 1", "cvPluginDeviceDriver = 2", "give cvPluginDeviceDriver the value 1"},
    {"Type", "Component.h", "cvResourceConsole = 21", "cvResourceConsole = 22", "give cvResourceConsole the value 21"},
    {"Slot", "ConsoleResource.h", "    virtual bool init() = 0;",
     "    virtual void first() = 0;\n    virtual bool init() = 0;",
     "iConsoleResource::init must be virtual function number 2"},
    {"AllocatorSlot", "HostAllocator.h", "    virtual void* allocate(",
     "    virtual int kind() = 0;\n    virtual void* allocate(", "iAllocator::allocate must be virtual function number 0"},
    {"Size", "Component.h", "    std::uint32_t m_type;", "    std::uint32_t m_type; void* m_more = nullptr;",
     "CvComponentBase must take 24 bytes"},
    {"Offset", "Plugin.h", "    bool m_initialised = false;\n    CvPluginKind m_kind;",
     "    CvPluginKind m_kind;\n    bool m_initialised = false;", "m_initialised of CvPluginBase must lie at byte 8"},
    {"Signature", "Comms.h", "int comms_getc(Cv::Ptr<CommsPort> port, unsigned char* byte)",
     "bool comms_getc(Cv::Ptr<CommsPort> port, unsigned char* byte)", "declare comms_getc as int"},
};

INSTANTIATE_TEST_SUITE_P(Each, OtherDeclarations, testing::ValuesIn(differences),
                         [](const auto& difference) { return std::string(difference.param.name); });

TEST_F(OtherHost, Build_OtherDeclarationsLackOne_Fails) {
    std::ofstream(m_root / "host/api/Comms.h") << "#pragma once\n";
    const Ended built = buildTarget("host_declarations");
    EXPECT_NE(built.status, 0);
    EXPECT_THAT(built.output, HasSubstr("CommsPort"));
}

}  // namespace
