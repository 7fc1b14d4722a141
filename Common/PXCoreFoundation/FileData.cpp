#include "FileData.h"

#include "Base/Platform/Platform.h"
#include "GrowingBuffer.h"

#include <algorithm>

namespace px::cf {

CFDataRef ReadWholeFile(const char* path, int* error)
{
    constexpr CFIndex kPiece = 64 << 10;
    const ErrnoKeeper errnoKeeper;
    os::File file = os::kNoFile;
    int failure = os::Os().openFile(path, os::OpenMode::kRead, &file);
    CFDataRef data = nullptr;
    if (!failure) {
        GrowingBuffer<UInt8> bytes;
        size_t got = 1;
        while (!failure && got > 0) {
            failure = bytes.Reserve(kPiece)
                          ? os::Os().readFile(file, bytes.End(), size_t{kPiece}, &got)
                          : ENOMEM;
            if (!failure) bytes.Advance(static_cast<CFIndex>(got));
        }
        os::Os().closeFile(file);
        if (!failure) data = CFDataCreate(nullptr, bytes.Elements(), bytes.Count());
        if (!failure && !data) failure = ENOMEM;
    }
    if (error) *error = failure;
    return data;
}

int ListNames(const std::string& folder, std::vector<std::string>* names)
{
    const ErrnoKeeper errnoKeeper;
    const auto collect = [](const char* name, void* context) {
        static_cast<std::vector<std::string>*>(context)->emplace_back(name);
        return true;
    };
    const int error = os::Os().listFolder(folder.c_str(), collect, names);
    if (error) names->clear();
    std::sort(names->begin(), names->end());
    return error;
}

}  // namespace px::cf
