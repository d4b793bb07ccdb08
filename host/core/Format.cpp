#include <locale.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "host/core/Log.h"
#include "host/core/Text.h"

namespace cvhost {
namespace {

/// Widths, precisions and texts beyond this are out of sight: the line ends before.
constexpr int farthest = 2 * static_cast<int>(logLineSize);

/// Numbers are written as in the C locale on this thread while one of these lives.
class CLocale {
public:
    CLocale() : m_before(uselocale(cLocale())) {}
    CLocale(const CLocale&) = delete;
    CLocale& operator=(const CLocale&) = delete;
    ~CLocale() { uselocale(m_before); }

private:
    static locale_t cLocale() {
        static const locale_t locale = newlocale(LC_ALL_MASK, "C", nullptr);
        return locale;
    }

    locale_t m_before;
};

/// A log line that fills up.
class Line {
public:
    explicit Line(std::span<char, logLineSize> buffer) : m_buffer(buffer) {}

    bool cut() const { return m_cut; }
    void append(std::string_view text) {
        std::memcpy(end(), text.data(), std::min(text.size(), room()));
        advance(text.size());
    }
    /// Appends what `print(to, size)` writes and counts as snprintf does.
    template <class Print>
    void appendPrinted(Print print) {
        const int length = print(end(), room() + 1);
        if (length > 0) advance(static_cast<std::size_t>(length));
    }
    std::string_view finish(bool newline) {
        if (m_cut) {
            if (newline) m_used = std::min(m_used, m_buffer.size() - 2);
            dropPartialCharacter();
            if (newline) m_buffer[m_used++] = '\n';
        }
        return {m_buffer.data(), m_used};
    }

private:
    char* end() const { return m_buffer.data() + m_used; }
    std::size_t room() const { return m_buffer.size() - 1 - m_used; }
    void advance(std::size_t length) {
        m_cut = m_cut || length > room();
        m_used += std::min(length, room());
    }
    void dropPartialCharacter() {
        for (std::size_t back = 1; back <= std::min<std::size_t>(3, m_used); ++back) {
            const auto byte = static_cast<unsigned char>(m_buffer[m_used - back]);
            if ((byte & 0xC0) == 0x80) continue;
            const std::size_t length = byte >= 0xF0 ? 4 : byte >= 0xE0 ? 3 : byte >= 0xC0 ? 2 : 1;
            if (length > back) m_used -= back;
            return;
        }
    }

    std::span<char, logLineSize> m_buffer;
    std::size_t m_used = 0;
    bool m_cut = false;
};

enum class Size { plain, character, small, wide, widest };

/// One conversion of a format; the arguments of its stars are taken.
struct Conversion {
    char flags[8] = "";  // each of "-+ #0'" once at most
    int width = 0;
    int precision = -1;
    Size size = Size::plain;
    char type = 0;
};

class Formatter {
public:
    Formatter(Line& line, std::va_list arguments) : m_line(line) { va_copy(m_arguments, arguments); }
    Formatter(const Formatter&) = delete;
    Formatter& operator=(const Formatter&) = delete;
    ~Formatter() { va_end(m_arguments); }

    /// False when `format` is malformed.
    bool run(const char* format) {
        while (*format != 0 && !m_line.cut()) {
            const std::size_t literal = std::strcspn(format, "%");
            m_line.append({format, literal});
            format += literal;
            Conversion conversion;
            if (*format != 0 && !(parse(++format, conversion) && convert(conversion))) return false;
        }
        return true;
    }

private:
    bool parse(const char*& at, Conversion& conversion);
    int number(const char*& at);
    static Size size(const char*& at);
    bool convert(const Conversion& conversion);
    long long signedNumber(Size size);
    unsigned long long unsignedNumber(Size size);
    void print(const Conversion& conversion, const char* size, auto value);
    void padded(const Conversion& conversion, std::string_view text);
    void narrowText(const Conversion& conversion, const char* text);
    void wideText(const Conversion& conversion, const wchar_t* text);

    Line& m_line;
    int m_error = errno;
    std::va_list m_arguments;
};

/// Reads what follows a '%'.
bool Formatter::parse(const char*& at, Conversion& conversion) {
    for (; *at != 0 && std::strchr("-+ #0'", *at) != nullptr; ++at) {
        if (std::strchr(conversion.flags, *at) == nullptr) conversion.flags[std::strlen(conversion.flags)] = *at;
    }
    conversion.width = number(at);
    if (*at == '.') conversion.precision = number(++at);
    conversion.size = size(at);
    conversion.type = *at;
    if (*at == 0) return false;
    ++at;
    return true;
}

/// A width or precision, from the format or the arguments.
int Formatter::number(const char*& at) {
    if (*at == '*') {
        ++at;
        return std::clamp(va_arg(m_arguments, int), -farthest, farthest);
    }
    int value = 0;
    for (; *at >= '0' && *at <= '9'; ++at) value = std::min(value * 10 + (*at - '0'), farthest);
    return value;
}

Size Formatter::size(const char*& at) {
    const char first = *at;
    if (first == 0 || std::strchr("hljztqL", first) == nullptr) return Size::plain;
    ++at;
    const bool twice = (first == 'h' || first == 'l') && *at == first;
    if (twice) ++at;
    if (first == 'h') return twice ? Size::character : Size::small;
    return twice || first == 'q' || first == 'L' ? Size::widest : Size::wide;
}

/// Takes the conversion's argument and appends it. False for a type that is none.
bool Formatter::convert(const Conversion& conversion) {
    const bool wide = conversion.size == Size::wide;
    switch (conversion.type) {
        case '%':
            m_line.append("%");
            return true;
        case 'd':
        case 'i':
            print(conversion, "ll", signedNumber(conversion.size));
            return true;
        case 'o':
        case 'u':
        case 'x':
        case 'X':
            print(conversion, "ll", unsignedNumber(conversion.size));
            return true;
        case 'e':
        case 'E':
        case 'f':
        case 'F':
        case 'g':
        case 'G':
        case 'a':
        case 'A':
            if (conversion.size == Size::widest) {
                print(conversion, "L", va_arg(m_arguments, long double));
            } else {
                print(conversion, "", va_arg(m_arguments, double));
            }
            return true;
        case 'c':
        case 'C':
            if (const int code = va_arg(m_arguments, int); wide || conversion.type == 'C') {
                padded(conversion, narrow(static_cast<wchar_t>(code)).view());
            } else {
                const char character = static_cast<char>(code);
                padded(conversion, {&character, 1});
            }
            return true;
        case 's':
        case 'S':
            if (wide || conversion.type == 'S') {
                wideText(conversion, va_arg(m_arguments, const wchar_t*));
            } else {
                narrowText(conversion, va_arg(m_arguments, const char*));
            }
            return true;
        case 'p':
            print(conversion, "", va_arg(m_arguments, void*));
            return true;
        case 'n':
            static_cast<void>(va_arg(m_arguments, void*));
            return true;
        case 'm':
            narrowText(conversion, strerrordesc_np(m_error));
            return true;
        default:
            return false;
    }
}

long long Formatter::signedNumber(Size size) {
    if (size == Size::wide || size == Size::widest) return va_arg(m_arguments, long long);
    const int value = va_arg(m_arguments, int);
    if (size == Size::character) return static_cast<signed char>(value);
    return size == Size::small ? static_cast<short>(value) : value;
}

unsigned long long Formatter::unsignedNumber(Size size) {
    if (size == Size::wide || size == Size::widest) return va_arg(m_arguments, unsigned long long);
    const unsigned value = va_arg(m_arguments, unsigned);
    if (size == Size::character) return static_cast<unsigned char>(value);
    return size == Size::small ? static_cast<unsigned short>(value) : value;
}

void Formatter::print(const Conversion& conversion, const char* size, auto value) {
    char format[24];
    std::snprintf(format, sizeof format, "%%%s*.*%s%c", conversion.flags, size, conversion.type);
    m_line.appendPrinted([&](char* to, std::size_t room) {
        return std::snprintf(to, room, format, conversion.width, conversion.precision, value);
    });
}

void Formatter::padded(const Conversion& conversion, std::string_view text) {
    const bool left = conversion.width < 0 || std::strchr(conversion.flags, '-') != nullptr;
    const auto width = static_cast<std::size_t>(std::abs(conversion.width));
    if (left) m_line.append(text);
    for (std::size_t i = text.size(); i < width; ++i) m_line.append(" ");
    if (!left) m_line.append(text);
}

void Formatter::narrowText(const Conversion& conversion, const char* text) {
    if (text == nullptr) text = "(null)";
    const int longest = conversion.precision < 0 ? farthest : conversion.precision;
    padded(conversion, {text, strnlen(text, static_cast<std::size_t>(longest))});
}

void Formatter::wideText(const Conversion& conversion, const wchar_t* text) {
    if (text == nullptr) text = L"(null)";
    const auto longest = static_cast<std::size_t>(conversion.precision < 0 ? farthest : conversion.precision);
    char bytes[farthest];
    std::size_t used = 0;
    while (used < longest && *text != 0) {
        const NarrowCharacter character = narrow(*text++);
        if (character.length > longest - used) break;
        std::memcpy(bytes + used, character.bytes, character.length);
        used += character.length;
    }
    padded(conversion, {bytes, used});
}

}  // namespace

std::string_view formatText(std::span<char, logLineSize> buffer, const char* format, std::va_list arguments) {
    const CLocale numbers;
    Line line(buffer);
    if (!Formatter(line, arguments).run(format)) {
        line = Line(buffer);
        line.append({format, strnlen(format, logLineSize)});
    }
    const std::size_t length = line.cut() ? std::strlen(format) : 0;
    return line.finish(length > 0 && format[length - 1] == '\n');
}

}  // namespace cvhost
