// The ways HashCString can take over texts of 32 bytes and more, for the tests to force in turn.
#pragma once

namespace zulplatform::detail {

// Makes HashCString take its vector way over long texts (`wide`) or its scalar one. False, and
// nothing changes, when the vector way is not available: the CPU lacks it, or the build has none.
// Not for use while other threads hash.
bool ForceWideHash(bool wide);

} // namespace zulplatform::detail
