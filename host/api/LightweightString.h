// The host's counted, immutable string, of char or wchar_t.
#pragma once

#include <algorithm>
#include <atomic>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <new>
#include <string_view>
#include <utility>

#include "host/api/HostAllocator.h"

/// A text that copies by sharing; its memory is the host's on either side of the plug-in's edge. Null ("no string at
/// all") and "" differ in isNull() alone. One string object may be used by one thread at a time; its copies by others.
template <class Char>
class LightweightString {
public:
    constexpr LightweightString() noexcept = default;
    LightweightString(const Char* text) {
        if (text != nullptr) m_shared = make(text, {});
    }
    explicit LightweightString(std::basic_string_view<Char> text) : m_shared(make(text, {})) {}
    LightweightString(const LightweightString& other) noexcept : m_shared(other.m_shared) {
        if (m_shared != nullptr) m_shared->references.fetch_add(1, std::memory_order_relaxed);
    }
    LightweightString(LightweightString&& other) noexcept : m_shared(std::exchange(other.m_shared, nullptr)) {}
    ~LightweightString() {
        if (m_shared != nullptr && m_shared->references.fetch_sub(1, std::memory_order_acq_rel) == 1) {
            hostAllocator().release(m_shared);
        }
    }
    LightweightString& operator=(LightweightString other) noexcept {
        std::swap(m_shared, other.m_shared);
        return *this;
    }

    /// True for "no string at all".
    bool isNull() const noexcept { return m_shared == nullptr; }
    /// True for null and for a string of length 0.
    bool empty() const noexcept { return length() == 0; }
    std::size_t length() const noexcept { return m_shared == nullptr ? 0 : m_shared->length; }
    /// The characters and a terminating zero; never null.
    const Char* c_str() const noexcept { return m_shared == nullptr ? &s_nothing : m_shared->text(); }
    std::basic_string_view<Char> view() const noexcept { return {c_str(), length()}; }
    /// Plain search, case as written.
    bool contains(std::basic_string_view<Char> text) const noexcept { return view().find(text) != view().npos; }

    friend LightweightString operator+(const LightweightString& a, const LightweightString& b) {
        LightweightString sum;
        sum.m_shared = make(a.view(), b.view());
        return sum;
    }
    /// By characters: null equals "".
    friend bool operator==(const LightweightString& a, const LightweightString& b) noexcept { return a.view() == b.view(); }
    /// By character codes, as the standard library's strings.
    friend auto operator<=>(const LightweightString& a, const LightweightString& b) noexcept {
        return a.view() <=> b.view();
    }

private:
    struct Shared {
        std::atomic<std::int32_t> references{1};
        std::size_t length;
        explicit Shared(std::size_t characters) noexcept : length(characters) {}
        Char* text() noexcept { return reinterpret_cast<Char*>(this + 1); }
    };

    static Shared* make(std::basic_string_view<Char> head, std::basic_string_view<Char> tail) {
        const std::size_t length = head.size() + tail.size();
        void* memory = hostAllocator().allocate(sizeof(Shared) + (length + 1) * sizeof(Char), alignof(Shared));
        if (memory == nullptr) throw std::bad_alloc();
        auto* shared = new (memory) Shared(length);
        Char* end = std::copy(tail.begin(), tail.end(), std::copy(head.begin(), head.end(), shared->text()));
        *end = Char();
        return shared;
    }

    static constexpr Char s_nothing = Char();

    Shared* m_shared = nullptr;
};

namespace Cv {
/// The same text in wide characters. The text is UTF-8; a byte that is not becomes U+F700 plus the byte, and names a file
/// by that byte again. Null gives null.
LightweightString<wchar_t> WStringFromAscii(const char* text);
}  // namespace Cv
