#include "PXCore/PXColorCube.h"

#include "Base/ReplaceFile.h"
#include "Base/Status.h"
#include "Base/UTF8Text.h"
#include "Image/ColorTransform.h"
#include "Image/CubeFile.h"
#include "Image/LCMSColorCube.h"
#include "Image/ProfileFolders.h"

#include <new>

namespace {

using px::ToCube;
using px::ToHandle;
using px::ToRec;

constexpr char kEventSource[] = "PXColorCube";

constexpr int64_t kMaxFileBytes = int64_t{256} << 20;

static_assert(px::kMaxCubeGrid == kPXColorCubeMaxGridSize);

PXRef<LCMSColorCube> NewCube()
{
    auto made = PXRef<LCMSColorCube>::Adopt(new (std::nothrow) LCMSColorCube);
    if (!made) (void)PX_FAIL(kPXErrCreate);
    return made;
}

PXColorCube CubeOfText(std::string_view text)
{
    px::CubeFileContent content;
    if (px::ReadCubeText(text, &content) != kPXOK) return nullptr;
    PXRef<LCMSColorCube> cube = NewCube();
    if (!cube) return nullptr;
    cube->SetContent(content);
    return ToHandle(cube.Detach());
}

PXStatus Interpolate(LCMSColorCube* cube, CImageRec* source, CImageRec* destination,
                     const PXRect& rect, PXProgress progress)
{
    PX_REQUIRE(cube && source && destination);
    px::CubeView view;
    PX_TRY(cube->View(&view));
    const PXRef<px::RowConverter> converter =
        px::MakeCubeConverter(view, cube->GetDataRef(), *source, *destination);
    if (!converter) return PX_FAIL(kPXErrPixelLayout);
    return px::ConvertImageWith(*converter, {source, destination, rect, px::BandsOfThisMachine(),
                                             nullptr, nullptr, progress});
}

PXStatus MakeFileData(PXColorCube cube, CFStringRef title, CFRef<CFDataRef>* outData)
{
    PX_REQUIRE(cube);
    px::CubeView view;
    PX_TRY(ToCube(cube)->View(&view));
    return px::WriteCubeText(view, px::UTF8Of(title), outData);
}

}  // namespace

PXColorCube PXColorCubeCreate(void) noexcept
{
    return ToHandle(NewCube().Detach());
}

PXColorCube PXColorCubeCreateFromProfiles(PXColorProfile source, PXColorProfile destination,
                                          uint32_t mode) noexcept
{
    PXRef<LCMSColorCube> cube = NewCube();
    if (!cube || cube->InitializeFromProfiles(source, destination, mode) != kPXOK) return nullptr;
    return ToHandle(cube.Detach());
}

PXColorCube PXColorCubeRetain(PXColorCube cube) noexcept
{
    PX_REQUIRE_OR(cube, nullptr);
    ToCube(cube)->AddRef();
    return cube;
}

void PXColorCubeRelease(PXColorCube cube) noexcept
{
    if (cube) ToCube(cube)->Release();
}

const uint8_t* PXColorCubeGetDataPtr(PXColorCube cube) noexcept
{
    PX_REQUIRE_OR(cube, nullptr);
    return ToCube(cube)->GetDataPtr();
}

CFDataRef PXColorCubeGetDataRef(PXColorCube cube) noexcept
{
    PX_REQUIRE_OR(cube, nullptr);
    return ToCube(cube)->GetDataRef();
}

PXStatus PXColorCubeSetData(PXColorCube cube, CFDataRef data) noexcept
{
    PX_REQUIRE(cube);
    ToCube(cube)->SetData(data);
    return kPXOK;
}

uint32_t PXColorCubeGetGridSize(PXColorCube cube) noexcept
{
    PX_REQUIRE_OR(cube, 0);
    return ToCube(cube)->GetGridSize();
}

PXStatus PXColorCubeSetGridSize(PXColorCube cube, uint32_t gridSize) noexcept
{
    PX_REQUIRE(cube);
    ToCube(cube)->SetGridSize(gridSize);
    return kPXOK;
}

uint32_t PXColorCubeGetMode(PXColorCube cube) noexcept
{
    PX_REQUIRE_OR(cube, 0);
    return ToCube(cube)->GetMode();
}

PXStatus PXColorCubeSetMode(PXColorCube cube, uint32_t mode) noexcept
{
    PX_REQUIRE(cube);
    ToCube(cube)->SetMode(mode);
    return kPXOK;
}

PXStatus PXColorCubeApplyToImage(PXColorCube cube, PXImage image) noexcept
{
    PX_REQUIRE(cube);
    return ToCube(cube)->ApplyToImage(image);
}

PXStatus PXColorCubeConvertColor(PXColorCube cube, const PXVec3F* color, PXVec3F* outColor) noexcept
{
    PX_REQUIRE(cube && color && outColor);
    const float from[3] = {color->x, color->y, color->z};
    float to[3];
    PX_TRY(ToCube(cube)->ConvertColor(from, to));
    *outColor = {to[0], to[1], to[2]};
    return kPXOK;
}

PXStatus PXColorCubeInterpolateImage(PXColorCube cube, PXImage source, PXImage destination,
                                     PXRect rect, PXProgress progress) noexcept
{
    return Interpolate(ToCube(cube), ToRec(source), ToRec(destination), rect, progress);
}

CFDataRef PXColorCubeCreateFileData(PXColorCube cube, CFStringRef title) noexcept
{
    CFRef<CFDataRef> text;
    return MakeFileData(cube, title, &text) == kPXOK ? text.Detach() : nullptr;
}

PXStatus PXColorCubeWriteFile(PXColorCube cube, CFURLRef url, CFStringRef title) noexcept
{
    PX_REQUIRE(cube && url);
    CFRef<CFDataRef> text;
    PX_TRY(MakeFileData(cube, title, &text));
    const std::string path = px::PathOf(url);
    const auto size = static_cast<size_t>(CFDataGetLength(text.Get()));
    if (path.empty() || px::ReplaceFile(path, CFDataGetBytePtr(text.Get()), size)) {
        return PX_FAIL(kPXErrCreate);
    }
    return kPXOK;
}

PXColorCube PXColorCubeCreateFromFileData(CFDataRef data) noexcept
{
    PX_REQUIRE_OR(data, nullptr);
    return CubeOfText({reinterpret_cast<const char*>(CFDataGetBytePtr(data)),
                       static_cast<size_t>(CFDataGetLength(data))});
}

PXColorCube PXColorCubeCreateFromFile(CFURLRef url) noexcept
{
    PX_REQUIRE_OR(url, nullptr);
    std::vector<uint8_t> bytes;
    if (const PXStatus status = px::ReadProfileFile(px::PathOf(url), kMaxFileBytes, &bytes)) {
        (void)PX_FAIL(status);
        return nullptr;
    }
    return CubeOfText({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
}
