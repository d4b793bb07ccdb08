// The data that the library exports, and the image loader, called by their names.
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "host/api/Files.h"
#include "host/core/Text.h"
#include "tests/library/Library.h"

namespace library {
namespace {

using ExportedValues = EdgeTest;

TEST_F(ExportedValues, AtLoad_AreEmptyAndZero) {
    const Library library;
    EXPECT_TRUE(library.exported<LightweightString<wchar_t>>("m_pgmName").empty());
    EXPECT_EQ(library.exported<std::uint16_t>("ShuttlePacketSize"), 0);
    EXPECT_EQ(library.exported<std::uint32_t>("RamFileSize"), 0U);
    EXPECT_EQ(library.exported<std::uint16_t>("RamFileCRC"), 0);
    for (const char c : library.exported<char[80]>("console_msg")) EXPECT_EQ(c, '\0');
}

TEST_F(ExportedValues, AtEachLoad_AreFresh) {
    for (int round = 0; round < 2; ++round) {
        const Library library;
        auto& name = library.exported<LightweightString<wchar_t>>("m_pgmName");
        auto& size = library.exported<std::uint16_t>("ShuttlePacketSize");
        EXPECT_TRUE(name.empty());
        EXPECT_EQ(size, 0);
        name = L"TorCons.ram";  // released at unload, as the fixture sees
        size = 13;
    }
}

TEST_F(ExportedValues, SameNamesInTheWholeProcess_AreNotTakenForItsOwn) {
    const LibraryCopy copy;
    const Library everybodys(copy.path(), Library::Names::everybodys);
    const Library library;
    EXPECT_NE(&library.exported<std::uint32_t>("RamFileSize"), &everybodys.exported<std::uint32_t>("RamFileSize"));
    library.exported<LightweightString<wchar_t>>("m_pgmName") = L"CorvaneConsole.so";  // beside this program, as any file
    unsigned char* image = nullptr;
    ASSERT_TRUE(library.exported<bool(unsigned char*&)>("_Z11LoadRamFileRPh")(image));
    hostAllocator().release(image);
    EXPECT_GT(library.exported<std::uint32_t>("RamFileSize"), 0U);
    EXPECT_EQ(everybodys.exported<std::uint32_t>("RamFileSize"), 0U);
}

/// A library whose image file lies in the application's folder.
class ImageLoader : public EdgeTest {
protected:
    using Loader = bool (*)(unsigned char*&);

    bool load() { return m_load(m_image); }
    void name(const std::wstring& name) { m_library->exported<LightweightString<wchar_t>>("m_pgmName") = name.c_str(); }
    void write(const std::string& content) {
        name(L"edge-" + std::to_wstring(::getpid()) + L".ram");
        m_file = cvhost::narrow(getAppPath().view()) + "edge-" + std::to_string(::getpid()) + ".ram";
        std::ofstream(m_file, std::ios::binary) << content;
    }
    std::uint32_t size() const { return m_library->exported<std::uint32_t>("RamFileSize"); }
    std::uint16_t checkValue() const { return m_library->exported<std::uint16_t>("RamFileCRC"); }
    std::string image() const { return {reinterpret_cast<const char*>(m_image), size()}; }

    /// The caller's array delete is the host's, since the image is the host's memory.
    void releaseImage() {
        hostAllocator().release(m_image);
        m_image = nullptr;
    }
    void TearDown() override {
        releaseImage();
        m_library.reset();
        std::error_code ignored;
        if (!m_file.empty()) std::filesystem::remove(m_file, ignored);
        EdgeTest::TearDown();
    }

    unsigned char* m_image = nullptr;

private:
    std::unique_ptr<Library> m_library = std::make_unique<Library>();
    Loader m_load = &m_library->exported<bool(unsigned char*&)>("_Z11LoadRamFileRPh");
    std::string m_file;
};

TEST_F(ImageLoader, LoadRamFile_ImageFile_LoadsItIntoTheHostsMemory) {
    write("123456789");
    const cvhost::AllocatorCount before = held();
    ASSERT_TRUE(load());
    EXPECT_EQ(image(), "123456789");
    EXPECT_EQ(checkValue(), 0x5333);
    EXPECT_EQ(held().liveBlocks - before.liveBlocks, 1U);
    EXPECT_EQ(held().liveBytes - before.liveBytes, 9U);
}

TEST_F(ImageLoader, LoadRamFile_Twice_SecondImageOfItsOwn) {
    write(std::string("\1\0\0", 3));
    ASSERT_TRUE(load());
    unsigned char* const first = m_image;
    ASSERT_TRUE(load());
    EXPECT_NE(m_image, first);
    EXPECT_EQ(size(), 3U);
    EXPECT_EQ(checkValue(), 0x1680);
    hostAllocator().release(first);
}

TEST_F(ImageLoader, LoadRamFile_NoSuchFile_ChangesNothing) {
    write("123456789");
    ASSERT_TRUE(load());
    unsigned char* const first = m_image;
    for (const wchar_t* missing : {L"", L"no such file"}) {
        name(missing);
        EXPECT_FALSE(load());
        EXPECT_EQ(m_image, first);
        EXPECT_EQ(size(), 9U);
        EXPECT_EQ(checkValue(), 0x5333);
    }
}

TEST_F(ImageLoader, LoadRamFile_EmptyFile_FailsAndClears) {
    write("123456789");
    ASSERT_TRUE(load());
    releaseImage();
    write("");
    EXPECT_FALSE(load());
    EXPECT_EQ(m_image, nullptr);
    EXPECT_EQ(size(), 0U);
    EXPECT_EQ(checkValue(), 0);
}

}  // namespace
}  // namespace library
