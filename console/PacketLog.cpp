#include "console/PacketLog.h"

#include <algorithm>
#include <initializer_list>
#include <span>
#include <string_view>

#include "host/api/Log.h"

namespace Cv {

namespace {

// The most arguments of each class that eleven characters can ask for: "%*d%*d%*d%d", "%f%f%f%f%f", "%Lf%Lf%Lf"; with a long
// double among them no more than four general ones, "%*.*Lf%*.*f".
constexpr int s_maxGeneral = 7;
constexpr int s_maxGeneralBesideLong = 5;
constexpr int s_maxFloating = 5;
constexpr int s_maxLong = 3;
constexpr std::size_t s_maxFieldDigits = 3;

/// Reads a format text and sees what it would take from an argument list.
class FormatReader {
public:
    explicit FormatReader(std::string_view text) : m_rest(text) {}

    /// True when all conversions can be fed.
    bool read() {
        while (!m_rest.empty()) {
            m_rest.remove_prefix(std::min(m_rest.find('%'), m_rest.size()));
            if (takeIf("%") && !readConversion()) return false;
        }
        return m_general <= (m_long > 0 ? s_maxGeneralBesideLong : s_maxGeneral) && m_floating <= s_maxFloating &&
               m_long <= s_maxLong;
    }

    bool hasLong() const { return m_long > 0; }

    /// What to pass as general argument `i`: zero, or for a conversion that takes an address one of its own, where zeros
    /// are.
    void* general(int i) { return m_isAddress[i] ? m_places[i] : nullptr; }

private:
    bool takeIf(std::string_view text) {
        const bool there = m_rest.starts_with(text);
        if (there) m_rest.remove_prefix(text.size());
        return there;
    }

    /// Takes one of `choices`, the longer before the shorter; the first is what stands there when none of the others does.
    std::string_view takeOneOf(std::initializer_list<std::string_view> choices) {
        for (const std::string_view choice : std::span(choices).subspan(1)) {
            if (takeIf(choice)) return choice;
        }
        return *choices.begin();
    }

    std::size_t takeAll(std::string_view characters) {
        const std::size_t count = std::min(m_rest.find_first_not_of(characters), m_rest.size());
        m_rest.remove_prefix(count);
        return count;
    }

    bool readField() {
        if (takeIf("*")) {
            countGeneral(false);
            return true;
        }
        return takeAll("0123456789") <= s_maxFieldDigits;
    }

    bool readConversion() {
        if (takeIf("%")) return true;
        takeAll("-+ #0");
        if (!readField()) return false;
        if (takeIf(".") && !readField()) return false;
        const std::string_view length = takeOneOf({"", "hh", "h", "ll", "l", "j", "z", "t", "L"});
        const char conversion = m_rest.empty() ? '\0' : m_rest.front();

        const auto isOneOf = [conversion](std::string_view set) { return set.find(conversion) != set.npos; };
        if (isOneOf("aAeEfFgG")) {
            ++(length == "L" ? m_long : m_floating);
            return length.empty() || length == "l" || length == "L";
        }
        if (!isOneOf("diouxXncsp")) return false;
        countGeneral(isOneOf("ns"));
        if (isOneOf("diouxXn")) return length != "L";
        return length.empty() || (length == "l" && conversion != 'p');
    }

    void countGeneral(bool isAddress) {
        if (m_general < s_maxGeneral) m_isAddress[m_general] = isAddress;
        ++m_general;
    }

    std::string_view m_rest;
    int m_general = 0;
    int m_floating = 0;
    int m_long = 0;
    bool m_isAddress[s_maxGeneral] = {};
    alignas(16) char m_places[s_maxGeneral][16] = {};  // an empty text of char or wchar_t; room for any "%n"
};

}  // namespace

void logPacket(const char* packet) {
    FormatReader format(packet);
    if (!format.read()) {
        LogBoth("%s", packet);
        return;
    }
    // The three classes of arguments are found independently of each other: general ones in five registers and then in
    // memory, floating ones in registers of their own, long doubles in memory alone. So the order here need not be the
    // text's.
    if (format.hasLong()) {
        LogBoth(packet, format.general(0), format.general(1), format.general(2), format.general(3), format.general(4), 0.0,
                0.0, 0.0, 0.0, 0.0, 0.0L, 0.0L, 0.0L);
    } else {
        LogBoth(packet, format.general(0), format.general(1), format.general(2), format.general(3), format.general(4),
                format.general(5), format.general(6), 0.0, 0.0, 0.0, 0.0, 0.0);
    }
}

}  // namespace Cv
