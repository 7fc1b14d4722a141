#include "pxtool/CubeFiles.h"

#include "Base/Platform/Platform.h"
#include "pxtool/Files.h"

#include <vector>

namespace px::tool {

namespace {

constexpr int64_t kMaxBytes = int64_t{256} << 20;  // ten times the largest cubes in use

Failure RequireRGB(const std::string& name, const ProfileOwner& profile)
{
    if (PXColorProfileGetColorSpaceType(profile.Get()) == kPXColorSpaceRGB) return Done();
    return CannotRead(name, "cubes are between profiles for RGB", "choose another profile");
}

}  // namespace

Failure ReadCube(const std::string& path, CubeOwner* cube)
{
    InputFile file;
    if (Failure failure = file.Open(path)) return failure;
    if (file.Size() > kMaxBytes) return CannotRead(path, "it is too large for a cube", "");
    std::vector<uint8_t> bytes(static_cast<size_t>(file.Size()));
    size_t got = 0;
    if (file.Read(bytes.data(), bytes.size(), &got) != 0) {
        return CannotRead(path, os::TextOf(file.Error()), "check the disk");
    }
    CFDataRef data = CFDataCreate(nullptr, bytes.data(), static_cast<CFIndex>(got));
    if (!data) return OutOfMemory(path);
    *cube = CubeOwner(PXColorCubeCreateFromFileData(data));
    CFRelease(data);
    if (cube->Get()) return Done();
    return CannotRead(path, "it is no three-dimensional table in the .cube format",
                      "make one with pxtool cube make");
}

Failure OpenCubeProfiles(const std::string& fromName, const std::string& toName, ProfileOwner* from,
                         ProfileOwner* to)
{
    if (Failure failure = OpenProfile(fromName, from)) return failure;
    if (Failure failure = OpenProfile(toName, to)) return failure;
    if (Failure failure = RequireRGB(fromName, *from)) return failure;
    return RequireRGB(toName, *to);
}

Failure CubeFailureOf(int status)
{
    switch (status) {
        case kPXOK:
            return Done();
        case kPXErrCreate:
            return {ExitCode::kResources, "memory ran out", "make a smaller cube"};
        default:
            return {ExitCode::kInput, "the profiles cannot be combined", "choose other profiles"};
    }
}

}  // namespace px::tool
