#include "apps/cvhost/transport/Clip.h"

#include <charconv>
#include <numeric>

namespace cvhost::transport {
namespace {

constexpr std::int64_t fastestRate = 240;
constexpr std::int64_t largestDenominator = 1001;

struct NamedRate {
    std::string_view name;
    Rate rate;
};

constexpr NamedRate namedRates[] = {
    {"23.976", {24000, 1001}}, {"23.98", {24000, 1001}}, {"29.97", {30000, 1001}},   {"47.952", {48000, 1001}},
    {"47.95", {48000, 1001}},  {"59.94", {60000, 1001}}, {"119.88", {120000, 1001}},
};

/// All of `text` as a whole number from 0 on.
std::optional<std::int64_t> number(std::string_view text) {
    std::int64_t value = 0;
    const auto end = std::from_chars(text.data(), text.data() + text.size(), value);
    if (end.ec != std::errc() || end.ptr != text.data() + text.size() || value < 0) return std::nullopt;
    return value;
}

std::optional<Rate> fraction(std::optional<std::int64_t> numerator, std::optional<std::int64_t> denominator) {
    if (!numerator || !denominator || *numerator == 0 || *denominator == 0) return std::nullopt;
    const std::int64_t common = std::gcd(*numerator, *denominator);
    const Rate rate{*numerator / common, *denominator / common};
    const bool fits = rate.denominator <= largestDenominator && rate.numerator >= rate.denominator &&
                      rate.numerator <= fastestRate * rate.denominator;
    return fits ? std::optional(rate) : std::nullopt;
}

/// "12.5": up to three digits behind the point.
std::optional<Rate> decimal(std::string_view text) {
    const std::size_t point = text.find('.');
    const std::string_view behind = text.substr(point + 1);
    const auto whole = number(text.substr(0, point));
    const auto part = number(behind);
    if (!whole || !part || *whole > fastestRate || behind.size() > 3) return std::nullopt;
    const std::int64_t scale = behind.size() == 1 ? 10 : behind.size() == 2 ? 100 : 1000;
    return fraction(*whole * scale + *part, scale);
}

}  // namespace

std::optional<Rate> rate(std::string_view text) {
    for (const NamedRate& named : namedRates) {
        if (text == named.name) return named.rate;
    }
    if (const std::size_t slash = text.find('/'); slash != text.npos) {
        return fraction(number(text.substr(0, slash)), number(text.substr(slash + 1)));
    }
    if (text.find('.') != text.npos) return decimal(text);
    return fraction(number(text), 1);
}

std::optional<Clip> clip(std::string_view text) {
    const std::size_t at = text.find('@');
    if (at == text.npos) return std::nullopt;
    const auto frames = number(text.substr(0, at));
    const auto speed = rate(text.substr(at + 1));
    if (!frames || *frames < 1 || *frames > Clip::mostFrames || !speed) return std::nullopt;
    return Clip{.frames = *frames, .rate = *speed};
}

}  // namespace cvhost::transport
