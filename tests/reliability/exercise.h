// What a host does with a file that may be broken, and the outcome in short.
#pragma once

// Before the scripted host: on Windows it makes stat a macro.
#include <gtest/gtest.h>

#include <string>

#include "tests/support/scripted_host.h"

namespace qbflv::test {

/// Opens, plays to the end, seeks and plays on, in every combination of completing inline or later, with and without a
/// known size, jumping or front to back, short or failing at the end. Each time every request must be completed, the
/// work and the memory must be bounded, and nothing may be left.
///
/// Returns the outcome of the first play, inline, with a known size, jumping, short at the end: "open 0x80004005" or
/// "header 0x80004005" when that failed; otherwise each stream's number of packets with the first and the last time,
/// as in "a 3: 0-46, v 2: 0-40"; "a -" for no packets, "a 0x80040009" for no header.
std::string Exercise(const Bytes& file);

}  // namespace qbflv::test
