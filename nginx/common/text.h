// nginx's texts and those of C++.
#pragma once

#include <string_view>

#include "nginx/common/nginx_headers.h"

namespace qbflv::server {

inline std::string_view ViewOf(const ngx_str_t& text) { return {reinterpret_cast<const char*>(text.data), text.len}; }

/// Of a text that stays. nginx does not change it, although its type allows that.
inline ngx_str_t StaticText(std::string_view text) {
  return {text.size(), reinterpret_cast<u_char*>(const_cast<char*>(text.data()))};
}

}  // namespace qbflv::server
