// HTTP responses with a short text, and HTTP headers.
#include "nginx/http/http_text.h"

#include <string>

namespace qbflv::server {

ngx_int_t SendText(ngx_http_request_t* r, ngx_uint_t status, std::string_view type, std::string_view text) {
  const ngx_str_t body = CopyText(r->pool, text);
  auto* const buffer = static_cast<ngx_buf_t*>(ngx_calloc_buf(r->pool));
  if (body.data == nullptr || buffer == nullptr) return NGX_HTTP_INTERNAL_SERVER_ERROR;
  r->headers_out.status = status;
  r->headers_out.content_length_n = static_cast<off_t>(text.size());
  r->headers_out.content_type = StaticText(type);
  r->headers_out.content_type_len = type.size();
  const ngx_int_t result = ngx_http_send_header(r);
  if (result == NGX_ERROR || result > NGX_OK || r->header_only != 0) return result;
  buffer->pos = body.data;
  buffer->last = body.data + body.len;
  buffer->memory = body.len > 0 ? 1 : 0;
  buffer->last_buf = r == r->main ? 1 : 0;
  buffer->last_in_chain = 1;
  ngx_chain_t chain{buffer, nullptr};
  return ngx_http_output_filter(r, &chain);
}

ngx_int_t SendReason(ngx_http_request_t* r, ngx_uint_t status, std::string_view reason) {
  return SendText(r, status, "text/plain", std::string(reason) + "\n");
}

ngx_int_t FailRequest(ngx_http_request_t* r, ngx_err_t error, const char* reason) {
  ngx_log_error(NGX_LOG_ERR, r->connection->log, error, "qbflv: %s", reason);
  return NGX_HTTP_INTERNAL_SERVER_ERROR;
}

bool AddHeader(ngx_http_request_t* r, std::string_view name, std::string_view value) {
  auto* const header = static_cast<ngx_table_elt_t*>(ngx_list_push(&r->headers_out.headers));
  if (header == nullptr) return false;
  ngx_memzero(header, sizeof(*header));
  header->key = StaticText(name);
  header->value = CopyText(r->pool, value);
  // nginx ignores headers whose hash is 0.
  header->hash = header->value.data != nullptr ? 1 : 0;
  return header->hash != 0;
}

ngx_str_t CopyText(ngx_pool_t* pool, std::string_view text) {
  auto* const bytes = static_cast<u_char*>(ngx_pnalloc(pool, text.size() + 1));
  if (bytes == nullptr) return {0, nullptr};
  ngx_memcpy(bytes, text.data(), text.size());
  return {text.size(), bytes};
}

}  // namespace qbflv::server
