#include "pxtool/CubeFiles.h"

#include "Base/Platform/Platform.h"
#include "Base/Ref.h"
#include "pxtool/Files.h"

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
    const auto data =
        CFRef<CFDataRef>::Adopt(CFDataCreate(nullptr, bytes.data(), static_cast<CFIndex>(got)));
    if (!data) return OutOfMemory(path);
    *cube = CubeOwner::Adopt(PXColorCubeCreateFromFileData(data.Get()));
    if (cube->Get()) return Done();
    return CannotRead(path, "it is no three-dimensional table in the .cube format",
                      "make one with pxtool cube make");
}

std::vector<Option> CubeSource::Options()
{
    return {ProfileOption("--to", &toName_, "the profile that results are in", Needed::kYes),
            ProfileOption("--from", &fromName_, "the profile that colours come in"),
            IntentOption(&intentName_)};
}

Failure CubeSource::Open()
{
    if (Failure failure = OpenProfile(fromName_, &from_)) return failure;
    if (Failure failure = OpenProfile(toName_, &to_)) return failure;
    if (Failure failure = RequireRGB(fromName_, from_)) return failure;
    return RequireRGB(toName_, to_);
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
