// Conversions between nginx's strings and C++ strings.
#pragma once

#include <string_view>

#include "nginx/common/nginx_headers.h"

namespace qbflv::server {

inline std::string_view ViewOf(const ngx_str_t& text) { return {reinterpret_cast<const char*>(text.data), text.len}; }

/// Wraps a string with static storage. nginx does not modify it, although the type allows that.
inline ngx_str_t StaticText(std::string_view text) {
  return {text.size(), reinterpret_cast<u_char*>(const_cast<char*>(text.data()))};
}

}  // namespace qbflv::server
