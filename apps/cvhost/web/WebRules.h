// What the page's server requires of a request, and what it adds to each answer.
//
// Pure functions; threads: any.
#pragma once

#include <boost/beast/http.hpp>
#include <cstddef>
#include <optional>
#include <string_view>

#include "apps/cvhost/web/WebGuard.h"

namespace cvhost::web {

constexpr std::size_t longestHead = 16 * 1024;
constexpr std::size_t longestBody = 4096;

constexpr const char* notUnderstood = "The request is not understood";

struct Objection {
    unsigned status;
    const char* sentence;
};

using Parser = boost::beast::http::request_parser<boost::beast::http::string_body>;

/// Why the server refuses a request, judged by its head; empty if it accepts it.
std::optional<Objection> objection(const Parser& request, const WebAddress& served);

/// The head of every answer. Without a `type` there is no content.
void addHeaders(boost::beast::http::response_header<>& answer, std::string_view type);

}  // namespace cvhost::web
