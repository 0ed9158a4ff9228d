/// \file
/// Windows error numbers and result codes that several families share.
///
/// The Windows-named functions report these through the last error, the registry calls return
/// them directly, and the array calls return the result codes. The numbers are the Windows ones,
/// so that ported code comparing against them keeps working.
#pragma once

namespace zulwin {

/// Error numbers (last error and registry results).
constexpr unsigned int ERROR_SUCCESS = 0;
constexpr unsigned int ERROR_FILE_NOT_FOUND = 2;
constexpr unsigned int ERROR_PATH_NOT_FOUND = 3;
constexpr unsigned int ERROR_ACCESS_DENIED = 5;
constexpr unsigned int ERROR_INVALID_HANDLE = 6;
constexpr unsigned int ERROR_INVALID_DATA = 13;
constexpr unsigned int ERROR_INVALID_PARAMETER = 87;
constexpr unsigned int ERROR_ALREADY_EXISTS = 183;
constexpr unsigned int ERROR_MORE_DATA = 234;

/// Result codes (32-bit, negative when they report a failure).
constexpr int S_OK = 0;
constexpr int E_FAIL = static_cast<int>(0x80004005u);
constexpr int E_OUTOFMEMORY = static_cast<int>(0x8007000Eu);
constexpr int E_INVALIDARG = static_cast<int>(0x80070057u);

} // namespace zulwin
