// The image file in the host application's folder.
#include <memory>

#include "tests/scenario/startup/StartupTest.h"

namespace startup {
namespace {

class LoadRamFileTest : public testing::Test {
protected:
    LoadRamFileTest() {
        m_pgmName = L"TorCons.ram";
        RamFileSize = 77;
        RamFileCRC = 0x7777;
    }
    ~LoadRamFileTest() override {
        hooks() = {};
        m_pgmName = {};
        RamFileSize = 0;
        RamFileCRC = 0;
    }

    void file(std::string bytes) { rig.world.files["/opt/host/TorCons.ram"] = {std::move(bytes)}; }
    bool load() {
        unsigned char* loaded = m_before;
        const bool result = LoadRamFile(loaded);
        m_pointer = loaded;
        if (loaded != m_before) image.reset(loaded);
        return result;
    }
    void expectNothingChanged() {
        EXPECT_EQ(m_pointer, m_before);
        EXPECT_EQ(RamFileSize, 77u);
        EXPECT_EQ(RamFileCRC, 0x7777);
    }
    std::string loaded() const { return {reinterpret_cast<const char*>(image.get()), RamFileSize}; }

    unsigned char m_owned[1];
    unsigned char* const m_before = m_owned;
    unsigned char* m_pointer = nullptr;
    std::unique_ptr<unsigned char[]> image;
    Rig rig{Rig::Scripted{}};
};

TEST_F(LoadRamFileTest, LoadRamFile_ThreeBytes_SizeAndCheckValue) {
    file(std::string("\1\0\0", 3));
    EXPECT_TRUE(load());
    EXPECT_EQ(RamFileSize, 3u);
    EXPECT_EQ(RamFileCRC, 0x1680);
    EXPECT_EQ(loaded(), std::string("\1\0\0", 3));
}

TEST_F(LoadRamFileTest, LoadRamFile_NineDigits_CheckValueFromZero) {
    file("123456789");
    EXPECT_TRUE(load());
    EXPECT_EQ(RamFileCRC, 0x5333);
}

TEST_F(LoadRamFileTest, LoadRamFile_SameFileTwice_SameValuesInASecondBuffer) {
    file("123456789");
    EXPECT_TRUE(load());
    const std::unique_ptr<unsigned char[]> first = std::move(image);
    EXPECT_TRUE(load());
    EXPECT_NE(image.get(), first.get());
    EXPECT_EQ(RamFileSize, 9u);
    EXPECT_EQ(RamFileCRC, 0x5333);
}

TEST_F(LoadRamFileTest, LoadRamFile_OtherModel_OpensThatName) {
    file("wrong");
    rig.world.files["/opt/host/CVMouCon.ram"] = {"123456789"};
    m_pgmName = L"CVMouCon.ram";
    EXPECT_TRUE(load());
    EXPECT_EQ(loaded(), "123456789");
}

TEST_F(LoadRamFileTest, LoadRamFile_FolderWithoutSeparator_NameFollowsDirectly) {
    rig.world.appPath = "/opt/host";
    rig.world.files["/opt/hostTorCons.ram"] = {"1"};
    EXPECT_TRUE(load());
}

TEST_F(LoadRamFileTest, LoadRamFile_EmptyName_FalseAndNothingChanged) {
    m_pgmName = {};
    EXPECT_FALSE(load());
    expectNothingChanged();
}

TEST_F(LoadRamFileTest, LoadRamFile_NoSuchFile_FalseAndNothingChanged) {
    EXPECT_FALSE(load());
    expectNothingChanged();
}

TEST_F(LoadRamFileTest, LoadRamFile_FileNotUsable_FalseAndNothingChanged) {
    rig.world.files["/opt/host/TorCons.ram"] = {.bytes = "123456789", .usable = false};
    EXPECT_FALSE(load());
    expectNothingChanged();
}

TEST_F(LoadRamFileTest, LoadRamFile_ReadFails_FalseAndAllCleared) {
    rig.world.files["/opt/host/TorCons.ram"] = {.bytes = "123456789", .readable = false};
    EXPECT_FALSE(load());
    EXPECT_EQ(m_pointer, nullptr);
    EXPECT_EQ(RamFileSize, 0u);
    EXPECT_EQ(RamFileCRC, 0);
}

TEST_F(LoadRamFileTest, LoadRamFile_EmptyFile_FalseAndAllCleared) {
    file("");
    EXPECT_FALSE(load());
    EXPECT_EQ(m_pointer, nullptr);
    EXPECT_EQ(RamFileSize, 0u);
    EXPECT_EQ(RamFileCRC, 0);
}

TEST_F(LoadRamFileTest, LoadRamFile_NoMemory_ThrowsWithSizeSet) {
    file("123456789");
    hooks().refuseArrays = true;
    EXPECT_THROW(load(), std::bad_alloc);
    hooks().refuseArrays = false;
    EXPECT_EQ(RamFileSize, 9u);
    EXPECT_EQ(RamFileCRC, 0x7777);
}

TEST_F(LoadRamFileTest, LoadRamFile_AnyOutcome_LogsNothing) {
    rig.debug(true);
    EXPECT_FALSE(load());
    file("1");
    EXPECT_TRUE(load());
    EXPECT_EQ(rig.log(), Texts{});
}

}  // namespace
}  // namespace startup
