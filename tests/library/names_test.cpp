// The names that the library shows and the names that it needs.
#include <dlfcn.h>
#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <map>

#include "host/linux/PluginLibrary.h"
#include "tests/library/Library.h"

namespace library {
namespace {

using testing::AnyOf;
using testing::Contains;
using testing::Each;
using testing::Not;
using testing::StartsWith;
using testing::UnorderedElementsAre;

bool isUndefined(const Symbol& symbol) { return symbol.type == 'U' || symbol.type == 'w' || symbol.type == 'v'; }

std::vector<Symbol> undefinedNames() {
    std::vector<Symbol> names = readSymbols(pluginPath(), SymbolTable::dynamic);
    std::erase_if(names, [](const Symbol& symbol) { return !isUndefined(symbol); });
    return names;
}

TEST(LibraryNames, ExportedNames_Are_TheSeven) {
    std::vector<std::string> names;
    const std::string plugin = pluginPath();
    for (const Symbol& symbol : readSymbols(plugin, SymbolTable::dynamic)) {
        if (!isUndefined(symbol)) names.push_back(readable(symbol.name));
    }
    EXPECT_THAT(names, UnorderedElementsAre("cvPluginInstance", "LoadRamFile(unsigned char*&)", "m_pgmName",
                                            "ShuttlePacketSize", "console_msg", "RamFileSize", "RamFileCRC"));
}

TEST(LibraryNames, ExportedData_HaveTheirSizes) {
#ifdef LIBRARY_INSTRUMENTED
    GTEST_SKIP() << "instrumentation pads the data";
#endif
    std::map<std::string, std::uint64_t> bytes;
    const std::string plugin = pluginPath();
    for (const Symbol& symbol : readSymbols(plugin, SymbolTable::dynamic)) {
        if (!isUndefined(symbol) && symbol.type != 'T') bytes[symbol.name] = symbol.size;
    }
    const std::map<std::string, std::uint64_t> expected = {
        {"m_pgmName", 8}, {"ShuttlePacketSize", 2}, {"console_msg", 80}, {"RamFileSize", 4}, {"RamFileCRC", 2},
    };
    EXPECT_EQ(bytes, expected);
}

TEST(LibraryNames, UndefinedNames_AreTheHostsAndTheLanguages) {
#ifdef LIBRARY_INSTRUMENTED
    GTEST_SKIP() << "an instrumented library also needs the names of its instrumentation";
#endif
    const std::array providers = {hostPath(),
                                  std::string("libc.so.6"),
                                  std::string("libm.so.6"),
                                  std::string("libstdc++.so.6"),
                                  std::string("libgcc_s.so.1"),
                                  std::string("ld-linux-x86-64.so.2")};
    std::array<void*, providers.size()> handles{};
    std::ranges::transform(providers, handles.begin(),
                           [](const std::string& name) { return ::dlopen(name.c_str(), RTLD_LAZY | RTLD_NOLOAD); });
    EXPECT_THAT(handles, Each(Not(nullptr)));

    std::size_t checked = 0;
    for (const Symbol& symbol : undefinedNames()) {
        // Asked for by the compiler's start files, and nobody has it.
        if (symbol.type == 'w' && (symbol.name.starts_with("_ITM_") || symbol.name == "__gmon_start__")) continue;
        const bool provided =
            std::ranges::any_of(handles, [&](void* handle) { return ::dlsym(handle, symbol.name.c_str()) != nullptr; });
        EXPECT_TRUE(provided) << readable(symbol.name);
        ++checked;
    }
    EXPECT_GT(checked, 40U);
    for (void* handle : handles) ::dlclose(handle);
}

TEST(LibraryNames, UndefinedNames_HaveNoOtherMemory) {
#ifdef LIBRARY_INSTRUMENTED
    GTEST_SKIP() << "instrumentation has memory of its own";
#endif
    std::vector<std::string> names;
    for (const Symbol& symbol : undefinedNames()) names.push_back(readable(symbol.name));
    ASSERT_THAT(names, Contains("OS()"));
    EXPECT_THAT(names, Each(Not(AnyOf("malloc", "calloc", "realloc", "reallocarray", "free", "aligned_alloc", "memalign",
                                      "posix_memalign", "valloc", "strdup", "wcsdup"))));
    EXPECT_THAT(names, Each(Not(AnyOf(StartsWith("operator new"), StartsWith("operator delete")))));
    // Types whose code lies half in the standard library's own file would mix its memory with ours.
    EXPECT_THAT(names,
                Each(Not(AnyOf(StartsWith("std::basic_"), StartsWith("std::__cxx11::"), StartsWith("std::filesystem")))));
}

TEST(LibraryNames, NoName_IsUniqueInTheProcess) {
    for (const SymbolTable table : {SymbolTable::full, SymbolTable::dynamic}) {
        const std::vector<Symbol> symbols = readSymbols(pluginPath(), table);
        ASSERT_FALSE(symbols.empty());
        for (const Symbol& symbol : symbols) EXPECT_NE(symbol.type, 'u') << readable(symbol.name);
    }
}

TEST(LibraryNames, AllocationOperators_AreLocalInAllForms) {
    std::vector<std::string> local;
    const std::string plugin = pluginPath();
    for (const Symbol& symbol : readSymbols(plugin, SymbolTable::full)) {
        const std::string name = readable(symbol.name);
        if (symbol.type == 't' && name.starts_with("operator ") && !name.ends_with(".cold]")) local.push_back(name);
    }
    EXPECT_THAT(local,
                UnorderedElementsAre("operator new(unsigned long)", "operator new(unsigned long, std::nothrow_t const&)",
                                     "operator new(unsigned long, std::align_val_t)",
                                     "operator new(unsigned long, std::align_val_t, std::nothrow_t const&)",  //
                                     "operator new[](unsigned long)", "operator new[](unsigned long, std::nothrow_t const&)",
                                     "operator new[](unsigned long, std::align_val_t)",
                                     "operator new[](unsigned long, std::align_val_t, std::nothrow_t const&)",  //
                                     "operator delete(void*)", "operator delete(void*, std::nothrow_t const&)",
                                     "operator delete(void*, unsigned long)", "operator delete(void*, std::align_val_t)",
                                     "operator delete(void*, unsigned long, std::align_val_t)",
                                     "operator delete(void*, std::align_val_t, std::nothrow_t const&)",  //
                                     "operator delete[](void*)", "operator delete[](void*, std::nothrow_t const&)",
                                     "operator delete[](void*, unsigned long)", "operator delete[](void*, std::align_val_t)",
                                     "operator delete[](void*, unsigned long, std::align_val_t)",
                                     "operator delete[](void*, std::align_val_t, std::nothrow_t const&)"));
}

}  // namespace
}  // namespace library
