/// \file
/// Windows error numbers and result codes that several families share.
///
/// The Windows-named functions report these through the last error, the registry calls return
/// them directly, and the array calls return the result codes. The numbers are the Windows ones,
/// so that ported code comparing against them keeps working.
#pragma once

namespace zulwin {

/// Error numbers (last error and registry results).
constexpr unsigned int ERROR_SUCCESS = 0;            ///< success
constexpr unsigned int ERROR_FILE_NOT_FOUND = 2;     ///< a file, or a registry value, is absent
constexpr unsigned int ERROR_PATH_NOT_FOUND = 3;     ///< a directory, or a registry key, is absent
constexpr unsigned int ERROR_ACCESS_DENIED = 5;      ///< permission denied
constexpr unsigned int ERROR_INVALID_HANDLE = 6;     ///< the registry key is not open
constexpr unsigned int ERROR_INVALID_DATA = 13;      ///< a null argument or an unusable buffer
constexpr unsigned int ERROR_INVALID_PARAMETER = 87; ///< an invalid argument
constexpr unsigned int ERROR_ALREADY_EXISTS = 183;   ///< the target exists
constexpr unsigned int ERROR_MORE_DATA = 234;        ///< the buffer is too small

/// Result codes (32-bit, negative when they report a failure).
constexpr int S_OK = 0;                                      ///< success
constexpr int E_FAIL = static_cast<int>(0x80004005u);        ///< unspecified failure
constexpr int E_OUTOFMEMORY = static_cast<int>(0x8007000Eu); ///< memory or a limit exceeded
constexpr int E_INVALIDARG = static_cast<int>(0x80070057u);  ///< an invalid argument

} // namespace zulwin
