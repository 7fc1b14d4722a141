#include "pxtool/Messages.h"

#include "Base/PXServer.h"
#include "Base/Platform/Platform.h"
#include "pxtool/Files.h"

#include <cstdio>
#include <iterator>

namespace px::tool {

namespace {

// Bodies come from files of this size at most.
constexpr int64_t kMostBytes = int64_t{1} << 30;

}  // namespace

CFRef<CFStringRef> StringFrom(const std::string& utf8)
{
    return CFRef<CFStringRef>::Adopt(
        CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8*>(utf8.data()),
                                static_cast<CFIndex>(utf8.size()), kCFStringEncodingUTF8, false));
}

std::string TextFrom(CFStringRef text)
{
    if (!text) return "";
    std::string bytes(static_cast<size_t>(CFStringGetLength(text)) * 3, '\0');
    CFIndex size = 0;
    CFStringGetBytes(text, CFRangeMake(0, CFStringGetLength(text)), kCFStringEncodingUTF8, '?',
                     false, reinterpret_cast<UInt8*>(bytes.data()),
                     static_cast<CFIndex>(bytes.size()), &size);
    bytes.resize(static_cast<size_t>(size));
    return bytes;
}

Failure ReadBytes(const std::string& path, CFRef<CFDataRef>* bytes)
{
    InputFile file;
    if (Failure failure = file.Open(path)) return failure;
    if (file.Size() > kMostBytes) return CannotRead(path, "it is too large", "");
    const auto data = CFRef<CFMutableDataRef>::Adopt(CFDataCreateMutable(nullptr, 0));
    CFDataSetLength(data.Get(), static_cast<CFIndex>(file.Size()));
    size_t got = 0;
    if (file.Read(CFDataGetMutableBytePtr(data.Get()), static_cast<size_t>(file.Size()), &got) ||
        static_cast<int64_t>(got) != file.Size()) {
        return CannotRead(path, os::TextOf(file.Error()), "");
    }
    *bytes = CFRef<CFDataRef>::Retain(data.Get());
    return Done();
}

Failure WriteOut(const std::string& text)
{
    std::fwrite(text.data(), 1, text.size(), stdout);
    if (std::fflush(stdout) == 0) return Done();
    return CannotWrite("standard output", "it takes no more", "");
}

Failure WriteOut(CFDataRef bytes)
{
    return WriteOut(std::string(reinterpret_cast<const char*>(CFDataGetBytePtr(bytes)),
                                static_cast<size_t>(CFDataGetLength(bytes))));
}

std::vector<Option> WithPlace(ServerPlace* place, const char* portStandard,
                              std::vector<Option> others)
{
    std::vector<Option> options = {{.name = "--product",
                                    .value = &place->product,
                                    .help = "the name that the server is published under",
                                    .typeName = "NAME"},
                                   {.name = "--port",
                                    .value = &place->port,
                                    .help = "the port of the server",
                                    .typeName = "N",
                                    .least = 1,
                                    .most = UINT16_MAX,
                                    .standard = portStandard}};
    options.insert(options.end(), std::make_move_iterator(others.begin()),
                   std::make_move_iterator(others.end()));
    return options;
}

Failure FindServer(ServerPlace* place)
{
    if (place->port != 0) return Done();
    int32_t processId = 0;
    const PXStatus status =
        PXUtilsReadServerData(StringFrom(place->product).Get(), &place->port, &processId);
    if (status == kPXOK && place->port > 0 && place->port <= UINT16_MAX) return Done();
    return {ExitCode::kInput, "no server of '" + place->product + "' is running",
            "start one with pxtool serve"};
}

Failure ServerFailure(const ServerPlace& place, PXStatus status)
{
    std::string text = "the server at port " + std::to_string(place.port);
    std::string hint;
    if (status == kPXErrStreamEnd) {
        text += " has ended the connection";
    } else if (status == static_cast<PXStatus>(kPXServerVersionMismatch)) {
        text += " has another version";
        hint = "give that of the server with --api-version";
    } else if (status < 1000) {
        text += std::string(" cannot be reached: ") + os::TextOf(static_cast<int>(status));
        hint = "pxtool doctor lists the servers that run";
    } else {
        text += " sent what is no message";
    }
    return {ExitCode::kInput, text, hint};
}

}  // namespace px::tool
