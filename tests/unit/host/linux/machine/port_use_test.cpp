// Who uses a port, looked for in a made-up /proc.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "host/linux/machine/PortUse.h"
#include "host/linux/serial/SerialTransport.h"

namespace cvhost {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::IsEmpty;

class Holders : public testing::Test {
protected:
    Holders() {
        std::string name = (fs::temp_directory_path() / "port-use-XXXXXX").string();
        folder = ::mkdtemp(name.data());
        fs::create_directories(folder / "lock");
        fs::create_directories(folder / "proc/self");
        write("ttyX", "");
    }
    ~Holders() override { fs::remove_all(folder); }

    void write(const std::string& name, const std::string& text) const { std::ofstream(folder / name) << text; }
    /// A process with a name, which has `file` open.
    void addProcess(int number, const std::string& program, const std::string& file) const {
        const std::string place = "proc/" + std::to_string(number);
        fs::create_directories(folder / place / "fd");
        write(place + "/comm", program + "\n");
        fs::create_symlink(file, folder / place / "fd/3");
    }
    std::vector<std::string> holders() const {
        std::vector<std::string> result;
        for (const PortHolder& holder : holdersOf(port(), places())) {
            result.push_back(std::to_string(holder.process) + ' ' + holder.program + ' ' + holder.how);
        }
        return result;
    }
    std::string port() const { return folder / "ttyX"; }
    HolderPlaces places() const { return {.processes = folder / "proc", .lockFiles = folder / "lock"}; }

    fs::path folder;
};

TEST_F(Holders, OpenFiles_OfThisPortAlone_Count) {
    addProcess(20, "other", "/dev/null");
    addProcess(12, "getty", port());
    addProcess(::getpid(), "self", port());
    EXPECT_THAT(holders(), ElementsAre("12 getty has it open"));
}

TEST_F(Holders, Locks_OfThisPortAlone_Count) {
    struct stat status{};
    ASSERT_EQ(::stat(port().c_str(), &status), 0);
    addProcess(7, "screen", "/dev/null");
    char line[128];
    std::snprintf(line, sizeof line, "1: FLOCK  ADVISORY  WRITE 7 %02x:%02x:%llu 0 EOF\n", major(status.st_dev),
                  minor(status.st_dev), static_cast<unsigned long long>(status.st_ino));
    write("proc/locks", std::string(line) + "2: FLOCK  ADVISORY  WRITE 8 00:01:1 0 EOF\nnonsense\n3: POSIX\n");
    EXPECT_THAT(holders(), ElementsAre("7 screen has locked it"));
}

TEST_F(Holders, LockFile_OfALiveProcess_Counts) {
    const std::string file = folder / "lock/LCK..ttyX";
    write("lock/LCK..ttyX", "         1 minicom root\n");
    EXPECT_THAT(holders(), ElementsAre("1  has the lock file " + file));
    for (const char* text : {"", "x", "-1", "99999999999999", "4194999"}) {
        write("lock/LCK..ttyX", text);
        EXPECT_THAT(holders(), IsEmpty()) << text;
    }
}

TEST_F(Holders, LockFile_ThatIsAPipe_HoldsNobodyUp) {
    ASSERT_EQ(::mkfifo((folder / "lock/LCK..ttyX").c_str(), 0600), 0);
    EXPECT_THAT(holders(), IsEmpty());
}

TEST_F(Holders, LockFile_WithALineWithoutEnd_IsReadNoFurtherThanItsNumber) {
    write("lock/LCK..ttyX", std::string(1000000, ' ') + "1\n");
    EXPECT_THAT(holders(), IsEmpty());
}

TEST_F(Holders, Port_Missing_HasNone) {
    EXPECT_THAT(holdersOf(folder / "none", places()), IsEmpty());
    EXPECT_FALSE(accessTo(folder / "none"));
}

TEST_F(Holders, RunningProgram_IsFoundByItsShortName) {
    addProcess(31, "ModemManager", "/dev/null");
    addProcess(30, "ModemManagerX", "/dev/null");
    EXPECT_EQ(runningProgram("ModemManager", places()), 31);
    EXPECT_EQ(runningProgram("brltty", places()), std::nullopt);
}

TEST_F(Holders, RealLock_ThisProcessIsLeftOut) {
    const FileDescriptor file(::open(port().c_str(), O_RDWR | O_CLOEXEC));
    ASSERT_EQ(::flock(file.get(), LOCK_EX), 0);
    EXPECT_THAT(holdersOf(port()), IsEmpty());
}

TEST_F(Holders, Access_TellsOwnerGroupAndMode) {
    ASSERT_EQ(::chmod(port().c_str(), 0640), 0);
    const auto access = accessTo(port());
    ASSERT_TRUE(access);
    EXPECT_EQ(access->mode, 0640u);
    EXPECT_EQ(access->owner, access->user);
    EXPECT_TRUE(access->allowed);
    EXPECT_FALSE(access->groupHelps) << "its members may not write";
}

}  // namespace
}  // namespace cvhost
