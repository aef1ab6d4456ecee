// HTTP responses with a short text, and HTTP headers.
#pragma once

#include <string_view>

#include "nginx/common/text.h"
#include "nginx/http/http_headers.h"

namespace qbflv::server {

/// Sends a response whose body is text. Returns the status to finalize the request with. type: must be a static string.
ngx_int_t SendText(ngx_http_request_t* r, ngx_uint_t status, std::string_view type, std::string_view text);

/// Like SendText, with one line of plain text. reason: without the line break.
ngx_int_t SendReason(ngx_http_request_t* r, ngx_uint_t status, std::string_view reason);

/// Logs the reason for status 500, and returns this status. nginx sends its own page. error: errno, or 0.
ngx_int_t FailRequest(ngx_http_request_t* r, ngx_err_t error, const char* reason);

/// Adds a response header. Returns false on allocation failure. name: must be a static string.
bool AddHeader(ngx_http_request_t* r, std::string_view name, std::string_view value);

/// Copies a text to memory of the pool. On allocation failure returns a string whose data is null.
ngx_str_t CopyText(ngx_pool_t* pool, std::string_view text);

}  // namespace qbflv::server
