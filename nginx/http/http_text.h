// Short texts in HTTP responses.
#pragma once

#include <string_view>

#include "nginx/common/text.h"
#include "nginx/http/http_headers.h"

namespace qbflv::server {

/// Sends a response with this body. type: static. Returns what the request is to be finalized with.
ngx_int_t SendText(ngx_http_request_t* r, ngx_uint_t status, std::string_view type, std::string_view text);

/// A reason in one line, which gets its line end here.
ngx_int_t SendReason(ngx_http_request_t* r, ngx_uint_t status, std::string_view reason);

/// Adds a header. name: static. False if there is no memory.
bool AddHeader(ngx_http_request_t* r, std::string_view name, std::string_view value);

/// A copy in the pool; null data if there is no memory.
ngx_str_t CopyText(ngx_pool_t* pool, std::string_view text);

}  // namespace qbflv::server
