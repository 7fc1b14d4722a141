#include "pxtool/SelfTest.h"

#include "Base/Connection.h"
#include "Base/HTTPMessage.h"
#include "Base/MsgBroadcaster.h"
#include "Base/Server.h"
#include "Base/ServerAPI.h"
#include "PXAccelerate/PXAccelerate.h"
#include "PXCore/PXColorProfileImages.h"
#include "PXCore/PXImageCache.h"
#include "PXCore/PXImageDerived.h"
#include "PXCore/PXPresetManager.h"
#include "pxtool/LabReader.h"
#include "pxtool/Messages.h"
#include "pxtool/PictureFile.h"
#include "pxtool/PresetCommand.h"
#include "pxtool/Profiles.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <new>

namespace px::tool {

namespace {

constexpr int32_t kSide = 64;
constexpr char kMade[] = "the made-up picture";

// A picture that differs from pixel to pixel, in 8 bits RGB.
Failure MakePattern(Picture* picture)
{
    picture->layout = {kSide, kSide, 8, kPXColorSpaceRGB, false};
    if (Failure failure = MakeImage(picture->layout, kMade, &picture->image)) return failure;
    for (int32_t y = 0; y < kSide; ++y) {
        uint8_t* row = picture->View().Row(y);
        for (int32_t i = 0; i < kSide * 3; ++i) row[i] = static_cast<uint8_t>(i * 5 + y * 3);
    }
    return Done();
}

bool IsSame(const Picture& a, const Picture& b)
{
    if (a.layout.Bytes() != b.layout.Bytes()) return false;
    return std::memcmp(a.View().first, b.View().first, static_cast<size_t>(a.layout.Bytes())) == 0;
}

std::string CheckFiles(const std::string& folder)
{
    for (const char* name : {"/a.png", "/a.tif", "/a.jpg"}) {
        Picture made;
        Picture read;
        Progress progress("", false);
        if (Failure failure = MakePattern(&made)) return failure.text;
        if (Failure failure = WritePicture(made, folder + name, true, 100, progress)) {
            return failure.text;
        }
        if (Failure failure = ReadPicture(folder + name, progress, &read)) return failure.text;
        const bool isExact = FormatOfName(name) != Format::kJPEG;
        if (isExact ? !IsSame(made, read) : read.layout.Bytes() != made.layout.Bytes()) {
            return std::string("a picture came back changed from ") + (name + 1);
        }
    }
    return "";
}

std::string CheckConversion(const std::string&)
{
    Picture picture;
    if (Failure failure = MakePattern(&picture)) return failure.text;
    uint8_t* green = picture.View().Row(0);
    green[0] = green[2] = 0;
    green[1] = 255;
    ProfileOwner from;
    ProfileOwner to;
    if (Failure failure = OpenSRGB(&from)) return failure.text;
    if (Failure failure = OpenProfile("adobergb", &to)) return failure.text;
    const PXImage image = picture.image.Get();
    const int status =
        PXColorProfileConvertProfile4(from.Get(), to.Get(), image, image, PXImageGetBounds(image),
                                      1, kPXIntentRelativeColorimetric, nullptr);
    if (status != kPXOK) return "the conversion gave status " + std::to_string(status);
    // The green of sRGB in Adobe RGB (1998), by the definitions of both.
    constexpr int kWant[] = {144, 255, 60};
    for (int i = 0; i < 3; ++i) {
        if (std::abs(green[i] - kWant[i]) > 1) return "the green of sRGB became another";
    }
    return "";
}

std::string CheckScaling(const std::string&)
{
    PXAccelerateInit();
    constexpr uint8_t kGrey = 77;
    Picture picture;
    if (Failure failure = MakePattern(&picture)) return failure.text;
    std::memset(picture.View().first, kGrey, static_cast<size_t>(picture.layout.Bytes()));
    for (uint32_t filter = kPXBlitNearest; filter <= kPXBlitLanczos3; ++filter) {
        const PXImageScaleOptions options = {filter, kPXDataSourceMemory, 0, nullptr};
        Picture scaled;
        scaled.layout = {37, 91, 8, kPXColorSpaceRGB, false};
        const PXStatus status = PXImageCreateScaled(picture.image.Get(), {0, 0, 37, 91}, &options,
                                                    scaled.image.Receive());
        if (status) return "scaling gave status " + std::to_string(status);
        const uint8_t* first = scaled.View().first;
        if (std::any_of(first, first + scaled.layout.Bytes(),
                        [](uint8_t sample) { return sample != kGrey; })) {
            return "an even picture became uneven";
        }
    }
    return "";
}

std::string CheckCache(const std::string&)
{
    constexpr int32_t kLarge = 2048;
    constexpr double kLimit = 2 << 20;
    constexpr double kDefaultPercent = 50;
    const auto numberAt = [](int32_t x, int32_t y) {
        return static_cast<uint32_t>(y) * 2654435761U ^ static_cast<uint32_t>(x);
    };
    const PXImageCreateParams params = {
        {0, 0, kLarge, kLarge}, 32, 1, kPXColorSpaceGrey, kPXTransparencyNone, kPXDataSourceTiled};
    PXImageSetCacheMemAbsolute(kLimit);
    ImageOwner image;
    PXStatus status = PXImageCreateWithParams3(&params, image.Receive());
    std::vector<uint32_t> row(kLarge);
    for (int32_t y = 0; !status && y < kLarge; ++y) {
        for (int32_t x = 0; x < kLarge; ++x) row[static_cast<size_t>(x)] = numberAt(x, y);
        status = PXImageWrite2(image.Get(), {0, y, kLarge, 1}, row.data(), kLarge * 4);
    }
    bool isSame = true;
    for (int32_t y = 0; !status && y < kLarge; ++y) {
        status = PXImageRead2(image.Get(), {0, y, kLarge, 1}, row.data(), kLarge * 4);
        for (int32_t x = 0; x < kLarge; ++x) {
            isSame = isSame && row[static_cast<size_t>(x)] == numberAt(x, y);
        }
    }
    PXImageCacheStatistics statistics = {};
    PXImageGetCacheStatistics(&statistics);
    image = {};
    PXImageSetCacheMemPercent(kDefaultPercent);
    PXImageShutdown();
    if (status) return "a tiled picture gave status " + std::to_string(status);
    if (!isSame) return "tiles came back changed";
    return statistics.tilesWritten == 0 ? "no tile reached the cache folder" : "";
}

std::string CheckPresets(const std::string& folder)
{
    PXPresetManager manager;
    if (!manager.initialize(PXString(folder.c_str()), PXString("Presets"), PXString(".pxcurve"))) {
        return "no folder of presets could be made";
    }
    const PXString category("Checks");
    const PXString name("A preset \xC3\xA9");
    PXPreset preset;
    preset.setName(name);
    preset.setCustomSortOrder(7);
    if (!manager.addCategory(category) || !manager.savePreset(category, &preset)) {
        return "a preset could not be saved";
    }
    AnyMaker maker;
    PXPreset* loaded = manager.loadPreset(name, &maker, category);
    const bool isSame = loaded && loaded->name() == name && loaded->customSortOrder() == 7;
    PXPresetManager::releasePreset(loaded);
    return isSame ? "" : "a preset came back changed";
}

class EchoConnection final : public CServerConnection {
public:
    using CServerConnection::CServerConnection;
    void HandleRequest(CHTTPMessage& request, CHTTPMessage& response) override
    {
        response.SetContentBinary(request.GetRawContent());
    }
};

class EchoFactory final : public CBaseConnectionFactory {
public:
    CBaseConnection* CreateConnection(CBaseStream* stream) override
    {
        return new (std::nothrow) EchoConnection(stream);
    }
};

std::string SendAndReceive(int32_t port)
{
    constexpr UInt8 kBody[] = {0, 1, 255, 10, 13};
    const auto body = CFRef<CFDataRef>::Adopt(CFDataCreate(nullptr, kBody, sizeof(kBody)));
    CHTTPMessage request(CFSTR("GET"), CFSTR("echo"), nullptr);
    request.SetContentBinary(body.Get());
    CBaseServerAPI client;
    CHTTPMessage answer(kHTTPMessageResponse);
    PXStatus status = client.OpenStreams(port);
    if (status == kPXOK) status = client.SendRequest(request, answer);
    if (status != kPXOK) return "no answer came: status " + std::to_string(status);
    const bool isSame = answer.GetRawContent() && CFEqual(answer.GetRawContent(), body.Get());
    return isSame ? "" : "a message came back changed";
}

std::string CheckMessages(const std::string&)
{
    const auto broadcaster = PXRef<CBaseMsgBroadcaster>::Adopt(new CBaseMsgBroadcaster);
    const auto factory = PXRef<EchoFactory>::Adopt(new EchoFactory);
    const auto server = PXRef<CBaseServer>::Adopt(new CBaseServer);
    PXStatus status = server->Initialize(broadcaster.Get(), factory.Get(), kDefaultVersion);
    if (status == kPXOK) status = server->StartListening(0);
    if (status != kPXOK) return "no server could be started: status " + std::to_string(status);
    const std::string wrong = SendAndReceive(server->GetPort());
    server->Shutdown();
    return wrong;
}

// CIE Lab of white and the primaries of sRGB, relative to D50.
std::string CheckColours(const std::string&)
{
    constexpr struct {
        uint8_t r, g, b;
        Lab want;
    } kRows[] = {{255, 255, 255, {100, 0, 0}},
                 {255, 0, 0, {54.29, 80.81, 69.89}},
                 {0, 255, 0, {87.82, -79.28, 80.99}},
                 {0, 0, 255, {29.57, 68.30, -112.03}}};
    Picture picture;
    if (Failure failure = MakePattern(&picture)) return failure.text;
    uint8_t* row = picture.View().Row(0);
    for (const auto& each : kRows) {
        *row++ = each.r;
        *row++ = each.g;
        *row++ = each.b;
    }
    LabReader reader;
    if (Failure failure = reader.Open(kMade, picture)) return failure.text;
    std::vector<Lab> labs;
    reader.Read(0, &labs);
    for (size_t i = 0; i < std::size(kRows); ++i) {
        if (DeltaE76(labs[i], kRows[i].want) > 0.5) return "a colour of sRGB has another Lab value";
    }
    return "";
}

}  // namespace

std::vector<SelfCheck> SelfChecks()
{
    return {{"picture files", CheckFiles},  {"conversion", CheckConversion},
            {"scaling", CheckScaling},      {"cache", CheckCache},
            {"presets", CheckPresets},      {"messages", CheckMessages},
            {"colour values", CheckColours}};
}

}  // namespace px::tool
