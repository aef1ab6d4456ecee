// Starts the response to an HTTP request for a film.
#pragma once

#include "nginx/http/http_headers.h"

namespace qbflv::server {

/// Handles the requests of a location with "qbflv".
ngx_int_t HandleFilmRequest(ngx_http_request_t* r);

}  // namespace qbflv::server
