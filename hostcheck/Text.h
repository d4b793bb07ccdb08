// Text of bounded length, made as printf makes it. It lies where it is, so that it can be used while the library is being
// loaded and unloaded, and needs no allocator, which may be what is wrong.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdio>

namespace hostcheck {

template <std::size_t size>
class BasicText {
public:
    constexpr BasicText() noexcept = default;

    /// Adds to the end; what finds no room is cut.
    __attribute__((format(printf, 2, 3))) void add(const char* format, ...) {
        std::va_list arguments;
        va_start(arguments, format);
        addList(format, arguments);
        va_end(arguments);
    }
    void addList(const char* format, std::va_list arguments) {
        const int length = std::vsnprintf(m_text + m_length, size - m_length, format, arguments);
        if (length > 0) m_length += static_cast<std::size_t>(length);
        if (m_length >= size) m_length = size - 1;
    }
    void clear() noexcept {
        m_length = 0;
        m_text[0] = '\0';
    }
    const char* c_str() const noexcept { return m_text; }
    std::size_t length() const noexcept { return m_length; }

private:
    std::size_t m_length = 0;
    char m_text[size] = {};
};

using Text = BasicText<240>;

}  // namespace hostcheck
