// The host's files and folders.
#include "host/api/Files.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "host/api/OS.h"
#include "host/core/Text.h"
#include "tests/unit/host/HostRig.h"

namespace {

Cv::Ptr<iFile> openFile(const std::string& path, unsigned flags = iFileService::readOnly) {
    return OS().files().open(cvhost::widen(path), flags);
}

}  // namespace

TEST(File, WholeFile_IsReadInOneRead) {
    const Folder folder;
    folder.write("image.ram", std::string_view("\x01\x00\xFF", 3));
    const auto file = openFile(folder.path("image.ram"));
    ASSERT_TRUE(file);
    EXPECT_TRUE(file->usable());
    EXPECT_EQ(file->size(), 3U);
    char bytes[3];
    EXPECT_NE(file->read(bytes, 3), 0);
    EXPECT_EQ(std::string_view(bytes, 3), std::string_view("\x01\x00\xFF", 3));
}

TEST(File, ReadsInTurn_GoOnWhereTheLastEnded) {
    const Folder folder;
    folder.write("f", "abcdef");
    const auto file = openFile(folder.path("f"));
    char bytes[4] = "";
    EXPECT_NE(file->read(bytes, 2), 0);
    EXPECT_NE(file->read(bytes, 3), 0);
    EXPECT_STREQ(bytes, "cde");
}

TEST(File, MoreThanIsThere_ReadsNothing) {
    const Folder folder;
    folder.write("f", "abc");
    const auto file = openFile(folder.path("f"));
    char bytes[8] = "";
    EXPECT_EQ(file->read(bytes, 4), 0);
    EXPECT_NE(file->read(bytes, 3), 0);  // the position has stayed
    EXPECT_EQ(std::string_view(bytes, 3), "abc");
    EXPECT_EQ(file->read(bytes, 1), 0);
}

TEST(File, NoBytesOrNowhereToPutThem_Fails) {
    const Folder folder;
    folder.write("f", "abc");
    folder.write("empty", "");
    EXPECT_EQ(openFile(folder.path("f"))->read(nullptr, 0), 0);
    EXPECT_EQ(openFile(folder.path("f"))->read(nullptr, 2), 0);
    const auto empty = openFile(folder.path("empty"));
    ASSERT_TRUE(empty);
    EXPECT_EQ(empty->size(), 0U);
}

TEST(File, SizeBeyondTheInterface_IsZero) {
    const Folder folder;
    folder.write("big", "");
    ASSERT_EQ(::truncate(folder.path("big").c_str(), off_t{1} << 32), 0);
    EXPECT_EQ(openFile(folder.path("big"))->size(), 0U);
    ASSERT_EQ(::truncate(folder.path("big").c_str(), (off_t{1} << 32) - 1), 0);
    EXPECT_EQ(openFile(folder.path("big"))->size(), 0xFFFFFFFFU);
}

TEST(Open, WhatIsNoRegularFile_GivesNull) {
    const Folder folder;
    ASSERT_EQ(::mkfifo(folder.path("pipe").c_str(), 0600), 0);
    EXPECT_FALSE(openFile(folder.path()));
    EXPECT_FALSE(openFile(folder.path("pipe")));
    EXPECT_FALSE(openFile("/dev/zero"));
    EXPECT_FALSE(openFile(folder.path("missing")));
    EXPECT_FALSE(openFile(""));
    EXPECT_FALSE(OS().files().open({}, iFileService::readOnly));
}

TEST(Open, OtherFlagsOrAZeroInThePath_GivesNull) {
    const Folder folder;
    folder.write("f", "abc");
    EXPECT_FALSE(openFile(folder.path("f"), 1));
    EXPECT_FALSE(openFile(folder.path("f") + std::string("\0.txt", 5)));
}

TEST(Open, NameInAnyBytes_IsFound) {
    const Folder folder;
    for (const char* name : {"caf\xC3\xA9", "caf\xE9", "\xEF\x9F\xA9"}) {
        folder.write(name, "x");
        EXPECT_TRUE(openFile(folder.path(name))) << name;
    }
}

TEST(AppPath, Get_GivesTheProgramsFolderWithASeparator) {
    const std::string path = cvhost::narrow(getAppPath().view());
    EXPECT_EQ(path, std::filesystem::read_symlink("/proc/self/exe").parent_path().string() + "/");
}
