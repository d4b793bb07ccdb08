// The plug-in library under test, loaded, and a fixture that sees it leave without a trace.
#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "host/api/ConsoleResource.h"
#include "host/api/Plugin.h"
#include "host/core/Allocator.h"
#include "host/linux/PluginLibrary.h"
#include "tests/library/Symbols.h"

namespace library {

/// The built plug-in and the host's library: they lie beside this program.
std::string pluginPath();
std::string hostPath();

/// A library, loaded while this object lives.
class Library {
public:
    /// What its names mean to libraries loaded later.
    enum class Names { itsOwn, everybodys };

    /// Throws when it cannot be loaded.
    explicit Library(std::string path = pluginPath(), Names names = Names::itsOwn);
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;
    ~Library();

    /// True while the library at `path` is in the process.
    static bool isLoaded(const std::string& path);

    /// Calls the factory; what it returned goes to `initialised`.
    CvPluginBase* plugin(bool* initialised = nullptr) const;

    /// The exported object or function `name`.
    template <class T>
    T& exported(const char* name) const {
        return *reinterpret_cast<T*>(addressOfExport(name));
    }
    /// The object or function with the name `readableName`, exported or not.
    template <class T>
    T* local(std::string_view readableName) const {
        return reinterpret_cast<T*>(m_base + addressInFile(readableName));
    }
    /// All names that the file has for the code at `address`; empty when it is none of this library's functions.
    std::set<std::string> functionsAt(const void* address) const;

private:
    void* addressOfExport(const char* name) const;
    std::uint64_t addressInFile(std::string_view readableName) const;

    std::string m_path;
    void* m_handle;
    std::uintptr_t m_base = 0;
};

/// A copy of the plug-in's file, another library to the system, while this object lives.
class LibraryCopy {
public:
    LibraryCopy();
    LibraryCopy(const LibraryCopy&) = delete;
    LibraryCopy& operator=(const LibraryCopy&) = delete;
    ~LibraryCopy();

    const std::string& path() const noexcept { return m_path; }

private:
    std::string m_path;
};

/// The plug-in known to the host's manager while this object lives.
class Registration {
public:
    explicit Registration(CvPluginBase* plugin);
    Registration(const Registration&) = delete;
    Registration& operator=(const Registration&) = delete;
    ~Registration();

private:
    CvPluginBase* m_plugin;
};

/// One call from the plug-in into the host, as the host's scheduling hook tells it: "config_int console_debug".
/// Has the host refuse one block: the `number`th from now on, 1 for the next; 0 for none.
void refuseBlock(std::size_t number);

using Calls = std::vector<std::string>;
/// The calls since `recordCalls`, of all threads in their order.
Calls recordedCalls();
std::size_t recordedCalls(const std::string& call);
void recordCalls();

/// A host without settings, and at the end of each test without the plug-in and with all its memory back.
class EdgeTest : public testing::Test {
protected:
    EdgeTest();
    ~EdgeTest() override;
    void TearDown() override;

    /// Blocks and bytes given by the host since this test began, and not returned.
    cvhost::AllocatorCount held() const;

private:
    cvhost::AllocatorCount m_atStart;
};

/// The plug-in loaded and initialised, its console registered.
class ConsoleEdgeTest : public EdgeTest {
protected:
    ConsoleEdgeTest();
    ~ConsoleEdgeTest() override;
    void TearDown() override;

    const Library& library() const { return *m_library; }
    CvPluginBase& driver() const { return *m_library->plugin(); }
    /// The component as the host holds it.
    CvComponentBase& component() const { return *driver().components().at(0); }
    iConsoleResource& console() const { return dynamic_cast<iConsoleResource&>(component()); }

private:
    std::unique_ptr<Library> m_library;
};

}  // namespace library
