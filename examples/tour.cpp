// A tour of PXCore: a huge picture in tiles, edited, converted and scaled; a preset; a helper.

#include "Base/Connection.h"
#include "Base/HTTPMessage.h"
#include "Base/Msg.h"
#include "Base/MsgBroadcaster.h"
#include "Base/PXError.h"
#include "Base/PXHandle.h"
#include "Base/PXLog.h"
#include "Base/PXProcess.h"
#include "Base/Server.h"
#include "Base/ServerAPI.h"
#include "PXAccelerate/PXAccelerate.h"
#include "PXCore/PXBezierCurve.h"
#include "PXCore/PXColorProfileImages.h"
#include "PXCore/PXImageCache.h"
#include "PXCore/PXImageDerived.h"
#include "PXCore/PXImageIterator.h"
#include "PXCore/PXPresetManager.h"
#include "PXCore/PXUtils.h"

#include <cstdio>
#include <cstdlib>
#include <future>

namespace {

using Image = PXHandle<PXImageRetain, PXImageRelease>;
using Profile = PXHandle<PXColorProfileRetain, PXColorProfileRelease>;
using Progress = PXHandle<PXProgressRetain, PXProgressRelease>;

// Ends the program with the library's own words about what failed, and where.
void Check(const char* step, PXStatus status)
{
    if (status == kPXOK) return;
    std::fprintf(stderr, "%s: %s (%u)\n", step, PXErrorGetText(status), status);
    PXErrorRecord last;
    if (PXErrorGetLast(&last) && last.status == status) {
        std::fprintf(stderr, "    in %s, %s line %d, which expected: %s\n", last.function,
                     last.source, last.line, last.argument);
    }
    std::exit(1);
}

// One line of the event log, which goes to standard error here; PXLogAddFileLogger keeps a file.
void ShowEvent(void*, CFStringRef line)
{
    char* text = PXUtilsGetUTF8StringCopy(line);
    std::fputs(text ? text : "", stderr);
    std::free(text);
}

void ShowEvents()
{
    const PXLoggerProcs procs = {nullptr, ShowEvent, nullptr};
    PXLogger logger = PXLoggerCreate();
    PXLoggerSetProcs(logger, &procs, nullptr);
    PXLogAddLogger(logger);
    PXLoggerRelease(logger);
}

// 2.4 gigapixels, of which 16 MiB may be in memory at a time.
Image MakeHugePicture()
{
    PXImageSetCacheMemAbsolute(16.0 * 1024 * 1024);
    Image image;
    Check("the huge picture",
          PXImageCreateWithParams2({0, 0, 60000, 40000}, 8, 3, kPXColorSpaceRGB,
                                   kPXTransparencyNone, kPXDataSourceTiled, image.Receive()));
    std::printf("picture: %d x %d pixels, %.1f GB\n", PXImageGetWidth(image.Get()),
                PXImageGetHeight(image.Get()),
                static_cast<double>(PXImageGetSize64(image.Get())) / 1e9);
    return image;
}

void Paint(PXImage image, PXRect rect)
{
    int count = 0;
    px::ImageTiles tiles(image, rect);
    for (const px::ImageTile& tile : tiles) {
        for (int32_t y = tile.rect.y; y < tile.rect.y + tile.rect.height; ++y) {
            auto* pixel = tile.Row<uint8_t>(y);
            for (int32_t x = tile.rect.x; x < tile.rect.x + tile.rect.width; ++x, pixel += 3) {
                pixel[0] = static_cast<uint8_t>((x - rect.x) * 255 / (rect.width - 1));
                pixel[1] = static_cast<uint8_t>((y - rect.y) * 255 / (rect.height - 1));
                pixel[2] = 64;
            }
        }
        ++count;
    }
    Check("painting", tiles.Close());

    PXImageCacheStatistics cache;
    Check("statistics", PXImageGetCacheStatistics(&cache));
    std::printf("painted: %d tiles, some of them on disk: %s, more in memory than allowed: %s\n",
                count, cache.tilesWritten > 0 ? "yes" : "no",
                cache.residentBytes > cache.limitBytes ? "yes" : "no");
}

// Tells each quarter once, whichever thread gets there.
void ShowQuarters(PXProgress progress, void* context)
{
    auto* next = static_cast<int*>(context);
    for (; *next <= 100 && PXProgressGetFraction(progress) * 100 >= *next; *next += 25)
        std::printf("converting: %d %%\n", *next);
}

void Convert(PXImage image)
{
    const auto from = Profile::Adopt(PXColorProfileCreateStandard(kPXColorStandardSRGB));
    const auto to = Profile::Adopt(PXColorProfileCreateStandard(kPXColorStandardAdobeRGB1998));
    const auto progress = Progress::Adopt(PXProgressCreate());
    int next = 25;
    PXProgressSetCallback(progress.Get(), ShowQuarters, &next);
    // Null for the result: in place.
    Check("converting", static_cast<PXStatus>(PXColorProfileApplyToImage3(
                            from.Get(), image, to.Get(), nullptr, kPXIntentRelativeColorimetric,
                            progress.Get())));
    PXProgressSetCallback(progress.Get(), nullptr, nullptr);
}

Image Scale(PXImage image)
{
    PXImageScaleOptions options = {};
    options.filter = kPXBlitLanczos3;
    options.dataSourceType = kPXDataSourceMemory;
    Image small;
    Check("scaling", PXImageCreateScaledToFit(image, {1024, 1024}, &options, small.Receive()));
    std::printf("scaled: %d x %d pixels\n", PXImageGetWidth(small.Get()),
                PXImageGetHeight(small.Get()));
    return small;
}

class CurveMaker final : public PXPresetMaker {
public:
    PXPreset* createPreset() override { return new PXBezierCurve(0, 256, 16); }
};

void SavePreset()
{
    // ~/.local/share/PXCore Tour/Presets/Curves/Evening/Soft.pxcurve
    PXPresetManager manager("PXCore Tour", true, kPXPresetSupportPresets, "Curves",
                            PXString(kPXPresetExtCurve));
    const auto curve = PXRef<PXBezierCurve>::Adopt(new PXBezierCurve(0, 256, 16));
    curve->setName("Soft");
    curve->setControlPoint(8, {128, 96});
    curve->calculateCurve();
    if (!manager.addCategory("Evening") || !manager.savePreset("Evening", curve.Get())) {
        std::fprintf(stderr, "the preset could not be saved, see above\n");
        std::exit(1);
    }
    CurveMaker maker;
    PXPreset* loaded = manager.loadPreset("Soft", &maker, "Evening");
    const auto* again = dynamic_cast<PXBezierCurve*>(loaded);
    std::printf("preset: %s\n", again && *again == *curve ? "came back as it was" : "differs");
    PXPresetManager::releasePreset(loaded);
}

const CFStringRef kProduct = CFSTR("PXCore Tour");
constexpr int kApiVersion = 1;

// Answers GET /picture; everything else is answered with 404.
class PictureConnection final : public CServerConnection {
public:
    PictureConnection(CBaseStream* stream, PXImage image) : CServerConnection(stream), image_(image)
    {
    }

    void HandleRequest(CHTTPMessage& request, CHTTPMessage& response) override
    {
        if (!CFEqual(request.GetUri(), CFSTR("picture")))
            return CServerConnection::HandleRequest(request, response);
        response.SetContentInt(CFSTR("result"), 0);
        response.SetContentInt(CFSTR("width"), PXImageGetWidth(image_));
        response.SetContentInt(CFSTR("height"), PXImageGetHeight(image_));
    }

private:
    const PXImage image_;
};

class PictureFactory final : public CBaseConnectionFactory {
public:
    explicit PictureFactory(PXImage image) : image_(image) {}
    CBaseConnection* CreateConnection(CBaseStream* stream) override
    {
        return new PictureConnection(stream, image_);
    }

private:
    const PXImage image_;
};

class Listener final : public CBaseMsgListener {
public:
    void HandleMessage(CBaseMsg* message) override
    {
        std::printf("helper: I was told of %d x %d pixels\n", message->GetInt(CFSTR("width")),
                    message->GetInt(CFSTR("height")));
    }
};

// The helper process: finds the server, asks about the picture, tells everybody what it heard.
int Help()
{
    int32_t port = 0;
    int32_t process = 0;
    Check("finding the server", PXUtilsReadServerData(kProduct, &port, &process));
    const auto server = PXRef<CBaseServerAPI>::Adopt(new CBaseServerAPI);
    Check("opening streams", server->OpenStreams(port));
    Check("connecting", server->Connect(kApiVersion));

    CHTTPMessage request(CFSTR("GET"), CFSTR("picture"), nullptr);
    CHTTPMessage answer(kHTTPMessageResponse);
    Check("asking", server->SendRequest(request, answer));
    const auto message = PXRef<CBaseMsg>::Adopt(new CBaseMsg(CFSTR("looked")));
    for (CFStringRef key : {CFSTR("width"), CFSTR("height")})
        message->SetInt(key, PXUtilsCFDictionaryGetValueInt(answer.GetResponse(), key));
    Check("telling", server->SendMessage(message.Get()));
    server->Disconnect();
    return 0;
}

void TalkToHelper(PXImage image)
{
    const auto listener = PXRef<Listener>::Adopt(new Listener);
    auto broadcaster = PXRef<CBaseMsgBroadcaster>::Adopt(new CBaseMsgBroadcaster);
    broadcaster->AddListener(listener.Get());
    const auto factory = PXRef<PictureFactory>::Adopt(new PictureFactory(image));
    auto server = PXRef<CBaseServer>::Adopt(new CBaseServer);
    Check("the server", server->Initialize(broadcaster.Get(), factory.Get(), kApiVersion));
    Check("listening", server->StartListening(0));
    Check("publishing the port", PXUtilsWriteServerData(kProduct, server->GetPort()));

    // This program again, as its own helper.
    const auto program = CFRef<CFURLRef>::Adopt(PXProcessCreateCurrentProcessPath());
    const void* word = CFSTR("help");
    const auto arguments = CFRef<CFArrayRef>::Adopt(
        CFArrayCreate(kCFAllocatorDefault, &word, 1, &kCFTypeArrayCallBacks));
    uint32_t process = 0;
    Check("launching",
          PXProcessLaunchApplication2(program.Get(), arguments.Get(), nullptr, &process));
    static std::promise<int32_t> ended;
    Check("watching", PXProcessWatchProcessTermination(
                          process,
                          [](void* context, uint32_t, int32_t exitCode) {
                              static_cast<std::promise<int32_t>*>(context)->set_value(exitCode);
                          },
                          &ended));
    const int32_t exitCode = ended.get_future().get();

    // Ends the connections; what they posted has been delivered when the broadcaster is gone.
    server->Shutdown();
    server = {};
    broadcaster = {};
    PXUtilsDeleteServerData(kProduct);
    std::printf("helper: ended with %d\n", exitCode);
}

}  // namespace

int main(int argc, char**)
{
    ShowEvents();
    if (argc > 1) return Help();
    PXAccelerateInit();
    const Image huge = MakeHugePicture();
    const PXRect rect = {20000, 10000, 8192, 2048};
    Paint(huge.Get(), rect);

    // A picture of its own from here on, in tiles as the huge one.
    Image part;
    Check("cutting", PXImageCreateSubImageFromImage(huge.Get(), rect, part.Receive()));
    Convert(part.Get());
    const Image small = Scale(part.Get());
    SavePreset();
    TalkToHelper(small.Get());
    PXImageShutdown();
    return 0;
}
