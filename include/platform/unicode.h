/// \file
/// Unicode text: UTF-8 validation and coding, the CUtf8String value and its conversions to and
/// from UTF-16 and UTF-32, and locale-independent Unicode case mapping and composition.
#pragma once

#include <platform/utf8.h>
#include <platform/utf8_string.h>
