/// \file
/// BSTR and SAFEARRAY: allocation, release and a few queries of the platform's length-prefixed
/// UTF-16 string and array descriptor, laid out as on Windows x64. There is no element access,
/// locking or copying.
#pragma once

#include <platform/export.h>

#include <cstddef>

/// One dimension of an array: its element count and lower bound.
struct tagSAFEARRAYBOUND {
    unsigned int cElements; ///< the number of elements
    int lLbound;            ///< the index of the first element
};

/// An array descriptor with `cDims` bounds. The descriptors made here carry a 32-bit element
/// type (VARTYPE) right before them, 0 when made.
struct tagSAFEARRAY {
    unsigned short cDims;           ///< the number of dimensions
    unsigned short fFeatures;       ///< feature flags; 0 as made here
    unsigned int cbElements;        ///< the size of one element in bytes
    unsigned int cLocks;            ///< the lock count; never used here
    void* pvData;                   ///< the element data, null until SafeArrayAllocData
    tagSAFEARRAYBOUND rgsabound[1]; ///< the first of `cDims` bounds
};

static_assert(sizeof(tagSAFEARRAYBOUND) == 8, "SAFEARRAYBOUND layout");
static_assert(offsetof(tagSAFEARRAYBOUND, lLbound) == 4, "SAFEARRAYBOUND layout");
static_assert(offsetof(tagSAFEARRAY, fFeatures) == 2, "SAFEARRAY layout");
static_assert(offsetof(tagSAFEARRAY, cbElements) == 4, "SAFEARRAY layout");
static_assert(offsetof(tagSAFEARRAY, cLocks) == 8, "SAFEARRAY layout");
static_assert(offsetof(tagSAFEARRAY, pvData) == 16, "SAFEARRAY layout");
static_assert(offsetof(tagSAFEARRAY, rgsabound) == 24, "SAFEARRAY layout");
static_assert(sizeof(tagSAFEARRAY) == 32, "SAFEARRAY layout");

namespace zulwin {

/// A string handle points at the first character; the 32-bit byte length (twice the character
/// count, the terminator not counted) lies right before it and a 16-bit NUL after the text.
/// Strings of 2^31 characters and more cannot be made: their byte length does not fit.
using BSTR = char16_t*;

/// A copy of `text` up to its NUL (null or empty: the empty string). Null when the memory is
/// not there.
PLATFORM_API char16_t* SysAllocString(char16_t const* text);
/// A zeroed string of `length` characters with up to `length` characters of `text` copied in,
/// stopping at a NUL in `text`; the byte length is always 2 * `length`. Null for a length of
/// 2^31 or more, or when the memory is not there.
PLATFORM_API char16_t* SysAllocStringLen(char16_t const* text, unsigned long length);
/// Frees a string; null is ignored.
PLATFORM_API void SysFreeString(char16_t* s);
/// The stored byte length; 0 for null.
PLATFORM_API unsigned int SysStringByteLen(char16_t* s);
/// Makes `*s` a copy of `text` (null: empty), in place when the byte length stays, otherwise by
/// reallocation, which may move the string. A null `*s` gets a new string. Returns 1, or 0
/// (leaving `*s` alone) for a null `s` or when the memory is not there.
PLATFORM_API int SysReAllocString(char16_t** s, char16_t const* text);

/// A zeroed descriptor with `cDims` bounds (the descriptor's own counts as the first) and element
/// type 0: S_OK, or E_OUTOFMEMORY for 0 or more than 65535 dimensions (cDims holds 16 bits) or
/// when the memory is not there; E_FAIL for a null `out`.
PLATFORM_API int SafeArrayAllocDescriptor(unsigned int cDims, tagSAFEARRAY** out);
/// Zeroed element data of cbElements times the product of the element counts of the first
/// cDims bounds (at least the first), computed in 32 bits with wrapping. An existing pvData is
/// overwritten, not freed. E_FAIL for a null descriptor or cbElements 0, E_OUTOFMEMORY when the
/// memory is not there.
PLATFORM_API int SafeArrayAllocData(tagSAFEARRAY* psa);
/// Frees pvData (elements are not released one by one) and sets it null. E_FAIL for null.
PLATFORM_API int SafeArrayDestroyData(tagSAFEARRAY* psa);
/// Frees a descriptor made by SafeArrayAllocDescriptor, not its data. E_FAIL for null.
PLATFORM_API int SafeArrayDestroyDescriptor(tagSAFEARRAY* psa);
/// The element type stored before the descriptor (low 16 bits). E_FAIL for a null argument.
PLATFORM_API int SafeArrayGetVartype(tagSAFEARRAY* psa, unsigned short* vt);

} // namespace zulwin
