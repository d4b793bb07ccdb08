// What the page's server asks of a request before it serves it, and what it adds to each answer.
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

/// Why a request, whose head has been read, is not served; nothing if it is.
std::optional<Objection> objection(const Parser& request, const WebAddress& served);

/// What every answer says. Without a `type` there is no content.
void addHeaders(boost::beast::http::response_header<>& answer, std::string_view type);

}  // namespace cvhost::web
