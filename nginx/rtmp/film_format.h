// The format of nginx's RTMP module that plays films through the plug-in.
#pragma once

#include "nginx/rtmp/rtmp_headers.h"

namespace qbflv::server {

/// The format to put in the place of the built-in one, to which it leaves the applications without "qbflv on".
ngx_rtmp_play_fmt_t* WrapFormat(ngx_rtmp_play_fmt_t* builtIn);

/// Puts a check of the film's name in front of the command "play".
void GuardPlay();

}  // namespace qbflv::server
