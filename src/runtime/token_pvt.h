// slrt: token table internals shared with the tests.
#ifndef SLRT_RUNTIME_TOKEN_PVT_H
#define SLRT_RUNTIME_TOKEN_PVT_H

#include <cstddef>

namespace slrt_detail {

/// Number of buckets of the token table.
constexpr unsigned kTokenBuckets = 127;

/// Heap blocks the token table has asked for since the process started
/// (records and directory growth).  Tests use it to show that handing an
/// interned name back never allocates.
size_t tokenAllocations();

/// Records in the table.
size_t tokenRecordCount();

}  // namespace slrt_detail

#endif  // SLRT_RUNTIME_TOKEN_PVT_H
