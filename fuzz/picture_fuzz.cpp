// Decodes picture files of any of the tool's formats from memory: whatever the bytes are, the
// answer is a picture or a failure that says something.

#include "Base/Platform/Platform.h"
#include "pxtool/Codec.h"

#include <algorithm>
#include <cstdlib>

namespace {

struct MemoryFile {
    const uint8_t* bytes;
    size_t size;
    size_t position;
};
MemoryFile file;

void Describe(px::os::FileFacts* facts)
{
    facts->size = static_cast<int64_t>(file.size);
    facts->isRegular = true;
}

const px::os::Table& MemoryTable()
{
    static px::os::Table table = [] {
        px::os::Table made = px::os::NativeTable();
        made.factsOfPath = [](const char*, px::os::FileFacts* facts) {
            Describe(facts);
            return 0;
        };
        made.factsOfFile = [](px::os::File, px::os::FileFacts* facts) {
            Describe(facts);
            return 0;
        };
        made.openFile = [](const char*, px::os::OpenMode, px::os::File* opened) {
            *opened = 0;
            return 0;
        };
        made.closeFile = [](px::os::File) { return 0; };
        made.readFile = [](px::os::File, void* buffer, size_t size, size_t* got) {
            *got = std::min(size, file.size - std::min(file.position, file.size));
            std::copy_n(file.bytes + file.position, *got, static_cast<uint8_t*>(buffer));
            file.position += *got;
            return 0;
        };
        made.seekFile = [](px::os::File, int64_t offset) {
            file.position = static_cast<size_t>(offset);
            return 0;
        };
        // Keeps pictures small, so that many are decoded.
        made.physicalMemory = [] { return uint64_t{32} << 20; };
        return made;
    }();
    return table;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    file = {bytes, size, 0};
    px::os::ReplaceTable(&MemoryTable());
    {
        px::tool::Progress progress("", false);
        px::tool::InputFile input;
        px::tool::Picture picture;
        px::tool::Failure failure = input.Open("memory");
        if (!failure) failure = px::tool::Decode(input, progress, &picture);
        if (failure && failure.text.empty()) std::abort();
        if (!failure && !picture.image) std::abort();
        if (!failure && px::tool::MakeUpright("memory", &picture)) std::abort();
    }
    px::os::ReplaceTable(nullptr);
    return 0;
}
