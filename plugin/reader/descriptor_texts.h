// Descriptors that the Windows version resource uses too. They are macros because the resource compiler reads nothing
// else.
#pragma once

#define QBFLV_DESCRIPTION "Quelbar FLV File Format Plugin"
#define QBFLV_COPYRIGHT "Copyright (c) 2026 the qbflvplus authors. All rights reserved."
#define QBFLV_MORE_INFO "https://qbflvplus.example/"
// 0xE03000DE, split into the two 16-bit numbers that a version resource takes.
#define QBFLV_VERSION_HIGH 0xE030
#define QBFLV_VERSION_LOW 0x00DE
#define QBFLV_VERSION_TEXT "0xE03000DE"
