/// \file
/// GUIDs: the platform's 128-bit record, the value class guid_t, creation from the kernel's
/// random source, and the 36-character text form.
#pragma once

#include <platform/cstring.h>
#include <platform/export.h>

#include <string>

/// The platform's GUID record.
struct _GUID {
    unsigned int Data1;     ///< the first group: 8 hexadecimal digits in the text form
    unsigned short Data2;   ///< the second group: 4 digits
    unsigned short Data3;   ///< the third group: 4 digits
    unsigned char Data4[8]; ///< the last 16 digits, 2 a byte, split 2 + 6 by a hyphen
};
static_assert(sizeof(_GUID) == 16, "the GUID record has no padding");

namespace zulplatform {

/// A GUID as a plain value: exactly the fields of _GUID.
struct PLATFORM_API guid_t : _GUID {
    /// With `create` a new random GUID (all zero when none can be made: use CreateGuid to know);
    /// without it the all-zero value.
    guid_t(bool create = false);
    /// A copy of `g`.
    guid_t(_GUID const& g) : _GUID(g) {}

    /// "%08x-%04x-%04x-%02x%02x-%02x%02x%02x%02x%02x%02x" of the fields: 36 characters,
    /// lower-case, no braces.
    zulwin::CString ToString() const;
    /// The same text into `out`, reusing its storage: no allocation once `out` has held a text
    /// of 36 bytes.
    void ToString(zulwin::CString& out) const;
    /// Whether every field is zero.
    bool IsEmpty() const;
};
static_assert(sizeof(guid_t) == sizeof(_GUID), "guid_t adds no data");

/// @{
/// Field-by-field equality.
PLATFORM_API bool operator==(guid_t const& a, guid_t const& b);
inline bool operator!=(guid_t const& a, guid_t const& b) {
    return !(a == b);
}
/// @}

/// A new random GUID from "/proc/sys/kernel/random/uuid", the only source: false (and `guid`
/// untouched) when that file cannot be read or parsed. Sets no last error.
PLATFORM_API bool CreateGuid(_GUID& guid);
/// Parses the text form the way sscanf does with the format "%08x-%04hx-%04hx-%02hhx%02hhx-"
/// followed by six "%02hhx": both letter cases, text after the last group ignored, braces
/// refused. False (and `guid` untouched) unless all 11 fields convert. Sets no last error.
PLATFORM_API bool GuidFromString(std::string const& text, _GUID& guid);

} // namespace zulplatform
