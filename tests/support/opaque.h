// Keeps the optimiser from looking through a test helper: from seeing a null pointer or a zero
// divisor at the call (it would emit a trap of its own) and from concluding that the helper
// cannot throw (it would drop the caller's catch).
#pragma once

#if defined(__clang__)
#define TEST_OPAQUE noinline, optnone
#else
#define TEST_OPAQUE noipa
#endif
