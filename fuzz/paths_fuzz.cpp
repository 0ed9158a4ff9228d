// Path handling on arbitrary text: the validator's two entry points agree and normalise the same
// way, ResolveFullPath and fullpath agree with the lexical reference, and the file search's
// wildcard matcher agrees with the recursive rules. The input is split at its first NUL into a
// pattern and a name for the matcher.
#include "platform/internal/file_search_impl.h"
#include "support/path_reference.h"

#include <platform/path.h>

#include <cstdint>
#include <cstdlib>
#include <string>

using zulplatform::CPathValidator;

namespace {

void Check(bool ok) {
    if (!ok)
        std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string const input(reinterpret_cast<const char*>(data), size);
    const char* text = input.c_str();

    for (auto flags : {CPathValidator::none, CPathValidator::allowRelative}) {
        zulwin::CString full(text), syntax(text);
        unsigned int const result =
            CPathValidator::Validate(full, flags, zulplatform::GetDriveInfo());
        Check(result <= 5);
        Check(CPathValidator::ValidateSyntax(syntax, flags) == result);
        Check(full == syntax);
    }

    zulwin::CString path(text);
    std::string const before = path.GetString();
    bool const resolved = zulplatform::ResolveFullPath(path);
    Check(resolved == (!before.empty() && before[0] == '/'));
    Check(path.GetString() == (resolved ? test_support::RefResolve(before) : before));
    char out[64];
    char* const got = fullpath(out, text, sizeof out - 1);
    Check((got != nullptr) == (resolved && path.GetLength() <= 63));
    Check(got == nullptr || out == path);

    std::size_t const nul = input.find('\0');
    if (nul != std::string::npos) {
        const char* pattern = input.c_str();
        const char* name = input.c_str() + nul + 1;
        Check(zulplatform::_CFileSearchImpl::_MatchWildcard(pattern, name) ==
              test_support::RefWildcard(pattern, name));
    }
    return 0;
}
