#include "PXCore/PXColorProfileImages.h"

#include "Base/Status.h"
#include "Image/ColorState.h"
#include "Image/ColorTransform.h"
#include "Image/FloatTransform.h"
#include "Image/LCMSColorCube.h"
#include "Image/TransformCache.h"

#include <cstring>
#include <new>

namespace {

using px::ToProfile;
using px::ToRec;

constexpr char kEventSource[] = "PXColorProfile";

// A request for a rectangle in as many bands as there are processors.
px::ConversionRequest RequestFor(PXColorProfile profile, PXImage image, PXColorProfile destination,
                                 PXImage result, const PXRect& rect)
{
    return {ToProfile(profile),
            ToProfile(destination),
            ToRec(image),
            ToRec(result ? result : image),
            rect,
            px::BandsOfThisMachine(),
            kPXIntentRelativeColorimetric};
}

int Apply(PXColorProfile profile, PXImage image, PXColorProfile destination, PXImage result,
          int32_t intent, PXProgress progress)
{
    if (!image) return static_cast<int>(PX_FAIL(kPXErrBadArgument));
    px::ConversionRequest request =
        RequestFor(profile, image, destination, result, ToRec(image)->bounds);
    request.intent = intent;
    request.counter = progress;
    return static_cast<int>(px::ConvertImage(request));
}

PXStatus MakeCube(PXColorProfile profile, PXColorProfile destination, int32_t intent,
                  uint32_t gridSize, CFDataRef* outCube)
{
    PX_REQUIRE(outCube);
    *outCube = nullptr;
    PX_REQUIRE(profile);
    return ToProfile(profile)->CreateRGBCubeByIntent(destination, intent, gridSize, outCube);
}

PXStatus MakeCubeForDisplay(PXColorProfile profile, PXColorProfile destination, int32_t intent,
                            uint32_t gridSize, CFDataRef* outCube)
{
    PXRef<LCMSColorProfile> monitor;
    if (!destination) {
        monitor = px::ColorState::Shared().MonitorProfile();
        if (!monitor) return PX_FAIL(kPXErrNoDisplayProfile);
        destination = px::ToHandle(monitor.Get());
    }
    return MakeCube(profile, destination, intent, gridSize, outCube);
}

PXStatus MakeCubeObject(PXColorProfile profile, PXColorProfile destination, int32_t intent,
                        uint32_t gridSize, PXColorCube* outCube)
{
    PX_REQUIRE(outCube);
    *outCube = nullptr;
    CFDataRef samples = nullptr;
    PX_TRY(MakeCubeForDisplay(profile, destination, intent, gridSize, &samples));
    const auto data = CFRef<CFDataRef>::Adopt(samples);
    auto cube = PXRef<LCMSColorCube>::Adopt(new (std::nothrow) LCMSColorCube);
    if (!cube) return PX_FAIL(kPXErrCreate);
    cube->SetMode(kPXColorCubeModeFloat);
    cube->SetGridSize(gridSize);
    cube->SetData(data.Get());
    *outCube = px::ToHandle(cube.Detach());
    return kPXOK;
}

PXStatus FillSamples(PXColorProfile profile, PXColorProfile destination, uint32_t gridSize,
                     float* samples, int64_t sampleCount)
{
    if (!samples) return PX_FAIL(kPXErrMissing);
    PX_REQUIRE(gridSize <= px::kMaxCubeGrid);
    const int64_t bytes = px::CubeBytes(gridSize);
    PX_REQUIRE(sampleCount >= bytes / int64_t{sizeof(float)});
    CFDataRef made = nullptr;
    PX_TRY(MakeCube(profile, destination, kPXIntentRelativeColorimetric, gridSize, &made));
    std::memcpy(samples, CFDataGetBytePtr(made), static_cast<size_t>(bytes));
    CFRelease(made);
    return kPXOK;
}

PXStatus SoftProof(const px::SoftProofRequest& request, PXImage source, PXImage destination,
                   const PXRect& rect, PXProgress progress)
{
    PX_REQUIRE(source && destination);
    PXRef<px::FloatTransform> transform;
    PX_TRY(px::FloatTransform::MakeSoftProof(request, &transform));
    const auto converter =
        px::MakeFloatTransformConverter(transform, *ToRec(source), *ToRec(destination));
    if (!converter) return PX_FAIL(kPXErrPixelLayout);
    return px::ConvertImageWith(*converter, {ToRec(source), ToRec(destination), rect,
                                             px::BandsOfThisMachine(), nullptr, nullptr, progress});
}

}  // namespace

int PXColorProfileApplyToImage(PXColorProfile profile, PXImage image, PXColorProfile destination,
                               PXImage result) noexcept
{
    return Apply(profile, image, destination, result, kPXIntentRelativeColorimetric, nullptr);
}

int PXColorProfileApplyToImage2(PXColorProfile profile, PXImage image, PXColorProfile destination,
                                PXImage result, int32_t intent) noexcept
{
    return Apply(profile, image, destination, result, intent, nullptr);
}

int PXColorProfileApplyToImage3(PXColorProfile profile, PXImage image, PXColorProfile destination,
                                PXImage result, int32_t intent, PXProgress progress) noexcept
{
    return Apply(profile, image, destination, result, intent, progress);
}

int PXColorProfileApplyToImageRect(PXColorProfile profile, PXImage image,
                                   PXColorProfile destination, PXRect rect) noexcept
{
    return static_cast<int>(
        px::ConvertImage(RequestFor(profile, image, destination, nullptr, rect)));
}

int PXColorProfileConvertProfile4(PXColorProfile profile, PXColorProfile destinationProfile,
                                  PXImage source, PXImage destination, PXRect rect, int32_t bands,
                                  int32_t intent, PXProgress progress) noexcept
{
    return static_cast<int>(
        px::ConvertImage({ToProfile(profile), ToProfile(destinationProfile), ToRec(source),
                          ToRec(destination), rect, bands, intent, nullptr, nullptr, progress}));
}

int PXColorProfileSoftProofImage(PXColorProfile profile, PXColorProfile proof, int32_t intent,
                                 PXColorProfile display, bool warnsOfGamut, bool simulatesPaper,
                                 PXImage source, PXImage destination, PXRect rect,
                                 PXProgress progress) noexcept
{
    return static_cast<int>(SoftProof({ToProfile(profile), ToProfile(proof), ToProfile(display),
                                       intent, warnsOfGamut, simulatesPaper},
                                      source, destination, rect, progress));
}

int PXColorProfileCreateRGBColorCube(PXColorProfile profile, PXColorProfile destination,
                                     uint32_t gridSize, CFDataRef* outCube) noexcept
{
    return static_cast<int>(
        MakeCube(profile, destination, kPXIntentRelativeColorimetric, gridSize, outCube));
}

int PXColorProfileCreateRGBColorCube3(PXColorProfile profile, PXColorProfile destination,
                                      int32_t intent, uint32_t gridSize,
                                      CFDataRef* outCube) noexcept
{
    return static_cast<int>(MakeCubeForDisplay(profile, destination, intent, gridSize, outCube));
}

int PXColorProfileCreateRGBColorCube4(PXColorProfile profile, PXColorProfile destination,
                                      int32_t intent, uint32_t gridSize,
                                      PXColorCube* outCube) noexcept
{
    return static_cast<int>(MakeCubeObject(profile, destination, intent, gridSize, outCube));
}

int PXColorProfileGetColorCube(PXColorProfile profile, PXColorProfile destination,
                               uint32_t gridSize, float* samples, int64_t sampleCount) noexcept
{
    return static_cast<int>(FillSamples(profile, destination, gridSize, samples, sampleCount));
}

int PXColorProfileCreateRGBColorCubeSoftProof(PXColorProfile profile, PXColorProfile proof,
                                              int32_t intent, PXColorProfile display,
                                              uint32_t gridSize, bool warnsOfGamut,
                                              bool simulatesPaper, CFDataRef* outCube) noexcept
{
    if (!outCube) return static_cast<int>(PX_FAIL(kPXErrBadArgument));
    *outCube = nullptr;
    if (!profile) return static_cast<int>(PX_FAIL(kPXErrBadArgument));
    return static_cast<int>(ToProfile(profile)->CreateSoftProofCube(
        proof, intent, display, gridSize, warnsOfGamut, simulatesPaper, outCube));
}

uint32_t PXColorProfileGetCachedTransformCount() noexcept
{
    return static_cast<uint32_t>(px::TransformCache::Shared().Count());
}
