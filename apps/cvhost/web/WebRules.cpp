#include "apps/cvhost/web/WebRules.h"

#include <iterator>
#include <utility>

namespace cvhost::web {
namespace {

namespace http = boost::beast::http;
using Head = http::request_header<>;

std::string_view viewOf(boost::beast::string_view text) { return {text.data(), text.size()}; }

/// Whether a field is absent, or present once with an allowed value.
template <class Fits>
bool missingOr(const Head& head, const char* field, Fits fits) {
    const auto [first, last] = head.equal_range(field);
    return first == last || (std::next(first) == last && fits(viewOf(first->value())));
}

bool isOwnSite(std::string_view site) {
    return boost::beast::iequals({site.data(), site.size()}, "same-origin") ||
           boost::beast::iequals({site.data(), site.size()}, "none");
}

constexpr std::pair<const char*, const char*> headers[] = {
    {"Content-Security-Policy",
     "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self'; connect-src 'self'; "
     "base-uri 'none'; form-action 'none'; frame-ancestors 'none'"},
    {"Cross-Origin-Resource-Policy", "same-origin"},
    {"Cross-Origin-Opener-Policy", "same-origin"},
    {"Referrer-Policy", "no-referrer"},
    {"X-Content-Type-Options", "nosniff"},
    {"Cache-Control", "no-store"},
    {"Connection", "close"},
};

}  // namespace

std::optional<Objection> objection(const Parser& request, const WebAddress& served) {
    const Head& head = request.get();
    if (head.method() == http::verb::unknown) return Objection{400, notUnderstood};
    const std::string_view host = viewOf(head[http::field::host]);
    if (head.count(http::field::host) != 1 || !hostIsOurs(host, served))
        return Objection{403, "This server does not go by that name; ask for the address that cvhost printed"};
    const auto isOwnOrigin = [&](std::string_view origin) { return originIsOurs(origin, host); };
    if (!missingOr(head, "Origin", isOwnOrigin) || !missingOr(head, "Sec-Fetch-Site", isOwnSite))
        return Objection{403, "Pages from elsewhere may not use this server; open its own page"};
    if (head.count(http::field::content_encoding) != 0)
        return Objection{415, "A packed body is not taken; send it as it is"};
    const auto length = request.content_length();
    if (head.count(http::field::transfer_encoding) != 0 || (head.method() == http::verb::post && !length))
        return Objection{411, "The body's length is not told; send it in one piece with its Content-Length"};
    if (head.method() == http::verb::post && *length > longestBody) return Objection{413, "The request's body is too large"};
    return std::nullopt;
}

void addHeaders(http::response_header<>& answer, std::string_view type) {
    for (const auto& [field, value] : headers) answer.set(field, value);
    if (!type.empty()) answer.set(http::field::content_type, {type.data(), type.size()});
}

}  // namespace cvhost::web
