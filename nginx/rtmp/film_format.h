// The format that lets nginx's RTMP module play films through the plug-in.
#pragma once

#include "nginx/rtmp/rtmp_headers.h"

namespace qbflv::server {

/// Returns a format to replace the built-in one, which it calls for applications without "qbflv on".
ngx_rtmp_play_fmt_t* WrapFormat(ngx_rtmp_play_fmt_t* builtIn);

/// Inserts a handler for the command "play" that checks the name of the film.
void GuardPlay();

}  // namespace qbflv::server
