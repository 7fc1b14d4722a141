#pragma once

// ReplaceFile — a whole file in one step: at every moment the old content or the new one is there.

#include <cstddef>
#include <string>

namespace px {

// Writes the bytes under a name of its own in the folder of `path`, flushes them, and gives that
// file the name. A file that is there passes its permissions on; a link is replaced, not followed;
// folders, pipes and devices are left alone (EISDIR, EEXIST). A system error, 0 for success; after
// an error the former file is there and nothing else. Any thread.
int ReplaceFile(const std::string& path, const void* bytes, size_t size);

}  // namespace px
