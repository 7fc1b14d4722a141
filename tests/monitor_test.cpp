// Where the profile of the monitor comes from, and how start-up ends.

#include "PXCore/PXColorProfile.h"

#include "Base/Platform/Platform.h"
#include "Image/ColorState.h"
#include "support/ColourPictures.h"
#include "support/FakeDisplay.h"
#include "support/Profiles.h"
#include "support/TempFolder.h"
#include "support/Test.h"

#include <lcms2.h>

static bool refusesSRGB = false;

// In the place of Little CMS's own, which fails only when memory runs out.
cmsHPROFILE cmsCreate_sRGBProfileTHR(cmsContext context)
{
    px::os::Module module = 0;
    if (refusesSRGB || px::os::NativeTable().openModule("liblcms2.so.2", true, &module)) return {};
    void* real = px::os::NativeTable().findSymbol(module, "cmsCreate_sRGBProfileTHR");
    return reinterpret_cast<cmsHPROFILE (*)(cmsContext)>(real)(context);
}

namespace {

using namespace px::test;

class Monitor : public TempFolder {
protected:
    ~Monitor() override
    {
        px::ColorState::Shared().Forget();
        PXColorProfileInitialize(nullptr);
    }

    // A file of the folder with these bytes; its path.
    std::string File(const std::string& name, const Bytes& bytes)
    {
        Write(name, std::string(bytes.begin(), bytes.end()));
        return Path(name);
    }
    // What the system says, with the status.
    static Bytes Read(int want)
    {
        CFDataRef data = nullptr;
        EXPECT_EQ(want, PXColorProfileGetMonitorICC(&data));
        EXPECT_EQ(want == 0, data != nullptr);
        return BytesIn(Owned<CFDataRef>(data));
    }

    const Bytes adobe_ = StandardProfileBytes(kPXColorStandardAdobeRGB1998);
    const Bytes wide_ = StandardProfileBytes(kPXColorStandardProPhoto);
};

TEST_F(Monitor, AsksTheDaemonThenTheServer)
{
    const std::string first = File("first.icc", adobe_), second = File("second.icc", wide_);
    const Bytes large(200'001, 7);  // in pieces
    const Rows<std::vector<FakeDisplay::Device>, Bytes, Bytes, int> rows = {
        {"the first display", {{first}, {second}}, large, adobe_, 0},
        {"the primary display", {{first}, {second, true}}, large, wide_, 0},
        {"a primary display without a profile", {{"", true}, {second}}, large, wide_, 0},
        {"no profile anywhere", {{""}}, large, large, 0},
        {"no display", {}, large, large, 0},
        {"a missing file", {{Path("gone.icc")}}, large, large, 0},
        {"nothing at all", {}, {}, {}, kPXErrMissing},
        {"nothing but a missing file", {{Path("gone.icc")}}, {}, {}, kPXErrNotFound},
        {"a path too long", {{std::string(2000, 'x')}}, {}, {}, kPXErrNotFound},
    };
    for (const auto& [name, devices, property, want, status] : rows) {
        SCOPED_TRACE(name);
        FakeDisplay display;
        display.devices = devices;
        display.property = property;
        display.isSet = !property.empty();
        EventLog events;
        EXPECT_EQ(want, Read(status));
        EXPECT_EQ(0, display.live);
        EXPECT_EQ(status ? 1 : 0, events.Count(static_cast<uint32_t>(status)));
    }
}

// Whatever is missing or fails, the answer is one of the two or none, and nothing is kept.
TEST_F(Monitor, SurvivesEveryFailure)
{
    const std::string file = File("first.icc", adobe_);
    const auto check = [&](FakeDisplay& display) {
        display.devices = {{file}, {file, true}};
        display.property = Bytes(70'000, 9);
        CFDataRef data = nullptr;
        EventLog events;
        const int status = PXColorProfileGetMonitorICC(&data);
        const Owned<CFDataRef> owned(data);
        EXPECT_EQ(status == 0, data != nullptr);
        EXPECT_TRUE(status == 0 || status == kPXErrMissing || status == kPXErrNotFound) << status;
        EXPECT_EQ(0, display.live);
        return status;
    };
    std::set<std::string> symbols;
    {
        FakeDisplay display;
        display.missing = {"libdbus-1.so.3"};
        check(display);
        symbols = display.asked;
        FakeDisplay whole;
        check(whole);
        symbols.merge(whole.asked);
    }
    EXPECT_GE(symbols.size(), 27U);
    for (const std::string& symbol : symbols) {
        SCOPED_TRACE(symbol);
        FakeDisplay display;
        display.missing = {symbol};
        EXPECT_EQ(0, check(display));
    }
    for (const bool hasBus : {true, false}) {
        int call = 0;
        for (int calls = 1; call < calls; ++call) {
            SCOPED_TRACE(call);
            FakeDisplay display;
            display.hasBus = hasBus;
            display.failingCall = call;
            check(display);
            if (display.calls > call) calls = call + 2;  // it was reached: fail the next one
        }
        EXPECT_GT(call, hasBus ? 20 : 3);
    }
}

TEST_F(Monitor, RefusesOddProperties)
{
    const Rows<void (*)(FakeDisplay&), int> rows = {
        {"no server", [](FakeDisplay& d) { d.hasServer = false; }, kPXErrMissing},
        {"no DISPLAY", [](FakeDisplay& d) { d.SetEnvironment({}); }, kPXErrMissing},
        {"not bytes", [](FakeDisplay& d) { d.format = 32; }, kPXErrMissing},
        {"pieces that end early", [](FakeDisplay& d) { d.most = 6; }, kPXErrNotFound},
        {"larger than allowed", [](FakeDisplay&) { PXColorProfileSetMaxICCSize(50); },
         kPXErrNotFound},
    };
    for (const auto& [name, change, want] : rows) {
        SCOPED_TRACE(name);
        FakeDisplay display;
        display.property = Bytes(100, 3);
        change(display);
        EventLog events;
        Read(want);
        EXPECT_EQ(1, events.Count(static_cast<uint32_t>(want)));
        EXPECT_EQ(0, display.live);
        PXColorProfileSetMaxICCSize(int64_t{64} << 20);
    }
}

TEST_F(Monitor, WaitsForTheDaemonNoLongerThanItSays)
{
    FakeDisplay display;
    display.devices.resize(50, {File("first.icc", adobe_)});
    display.isSet = false;
    display.nanosOfCall = 200'000'000;
    EventLog events;
    Read(0);  // what was found until then
    EXPECT_LT(display.calls, 60);
    display.nanosOfCall = 600'000'000;
    Read(kPXErrMissing);
}

TEST_F(Monitor, StartUpEndsAsTheProfileDoes)
{
    const auto fileOf = [&](const char* name, const Bytes& bytes) {
        return std::vector<FakeDisplay::Device>{{File(name, bytes)}};
    };
    const Rows<std::vector<FakeDisplay::Device>, int, PXMonitorSource> rows = {
        {"no profile", {}, kPXErrMissing, kPXMonitorSourceNone},
        {"an empty file", fileOf("empty.icc", {}), kPXErrNotFound, kPXMonitorSourceNone},
        {"no ICC", fileOf("bad.icc", Bytes(300, 1)), kPXErrNotFound, kPXMonitorSourceNone},
        {"a profile", fileOf("My Screen.icc", adobe_), 0, kPXMonitorSourceAssigned},
    };
    for (const auto& [name, devices, want, source] : rows) {
        SCOPED_TRACE(name);
        FakeDisplay display;
        display.devices = devices;
        display.isSet = false;
        Case(name).Gives(want, PXColorProfileInitialize(nullptr));
        EXPECT_EQ(source, PXColorProfileGetMonitorSource());
        const Profile monitor(kPXColorStandardDisplay);
        EXPECT_EQ(want == 0, monitor != nullptr);
        EXPECT_EQ(want ? "<null>" : "My Screen.icc", Utf8Of(PXColorProfileGetICCName(monitor)));
    }
    FakeDisplay display;
    display->assignedMonitorProfile = [](char*, size_t) { return ECANCELED; };
    EventLog events;
    EXPECT_EQ(kPXErrSoft, PXColorProfileInitialize(nullptr));
    EXPECT_TRUE(events.Messages().empty());
}

TEST_F(Monitor, StartUpNamesTheStandardThatIsMissing)
{
    FakeDisplay display;
    display.devices = {{File("monitor.icc", adobe_)}};
    display.SetEnvironment({{"XDG_DATA_DIRS", Path("none")}, {"XDG_DATA_HOME", Path("home")}});
    const auto shared = FileURL(Path("shared"), true), user = FileURL(Path("user"), true);
    const PXFolderContext context = {shared, user};
    // By the file that is put there first.
    const Rows<Bytes, int, bool> rows = {
        {"shared/Profiles/none", {}, kPXErrNoProPhoto22, true},
        {"shared/Profiles/ProPhoto(2.2) RGB.icc", Bytes(300, 1), kPXErrNoProPhoto22, false},
        {"shared/Profiles/ProPhoto(2.2) RGB.icc", wide_, kPXErrNoSRGB, true},
        {"shared/Profiles/ProPhoto(2.2) RGB.icc", wide_, kPXErrBadArgument, false},
        {"shared/Profiles/ADOBERGB1998.ICC", adobe_, kPXErrBadArgument, false},
        {"user/Profiles/ProPhoto.icm", wide_, 0, false},
    };
    for (const auto& [file, bytes, want, isSRGBMissing] : rows) {
        px::ColorState::Shared().Forget();
        refusesSRGB = isSRGBMissing;
        File(file, bytes);
        Case(file).Gives(want, PXColorProfileInitialize(&context));
        EXPECT_EQ(kPXMonitorSourceAssigned, PXColorProfileGetMonitorSource());
    }
}

TEST_F(Monitor, WhatWasSetStays)
{
    FakeDisplay display;
    display.devices = {{File("first.icc", adobe_)}};
    ASSERT_EQ(0, PXColorProfileInitialize(nullptr));
    ASSERT_EQ(0, PXColorProfileSetMonitorICCProfile(DataOf(wide_)));
    ASSERT_EQ(0, PXColorProfileInitialize(nullptr));
    EXPECT_EQ(kPXMonitorSourceSet, PXColorProfileGetMonitorSource());
    EXPECT_EQ(wide_, Read(0));
    EventLog events;
    const Owned<CFDataRef> bad(CFDataCreate(nullptr, wide_.data(), 200));
    EXPECT_EQ(kPXErrNotFound, PXColorProfileSetMonitorICCProfile(bad));
    EXPECT_EQ(wide_, Read(0));
    EXPECT_EQ(kPXErrBadArgument, PXColorProfileSetMonitorICCProfile(nullptr));
    // What is handed out is one object for all; without content it is no profile any more.
    const Profile monitor(kPXColorStandardDisplay);
    EXPECT_EQ(kPXErrNotFound, PXColorProfileSetICCData(monitor, bad));
    EXPECT_EQ(nullptr, PXColorProfileCreateStandard(kPXColorStandardDisplay));
}

}  // namespace
