// Profiles in folders: descriptions, lists, names, and what users import.

#include "PXCore/PXColorProfileDesc.h"

#include "support/ColourPictures.h"
#include "support/FakeDisplay.h"
#include "support/Profiles.h"
#include "support/TempFolder.h"
#include "support/Test.h"

namespace {

using namespace px::test;
namespace fs = std::filesystem;

using Names = std::vector<std::string>;

constexpr char kSRGBFile[] = "sRGB Color Space Profile.icm";

struct DescRelease {
    void operator()(PXColorProfileDesc desc) const { PXColorProfileDescRelease(desc); }
};
using Desc = std::unique_ptr<std::remove_pointer_t<PXColorProfileDesc>, DescRelease>;

std::string TextOf(const Bytes& bytes)
{
    return {bytes.begin(), bytes.end()};
}

// The user's profile folder and the system's colour folders lie in a folder of the test's.
class ProfileFiles : public TempFolder {
protected:
    ProfileFiles()
    {
        display_.isSet = false;
        display_.SetEnvironment({{"XDG_DATA_HOME", Path("home")}, {"XDG_DATA_DIRS", Path("data")}});
        EventLog events;
        EXPECT_EQ(kPXErrMissing, PXColorProfileInitialize(nullptr));
        fs::create_directories(Path("from"));
    }
    ~ProfileFiles() override
    {
        EventLog events;
        PXColorProfileInitialize(nullptr);
    }

    int Import(CFURLRef url, PXColorProfileDesc* desc = nullptr) const
    {
        return PXColorProfileImportUserColorProfile(url, desc);
    }
    int Import(const std::string& path, PXColorProfileDesc* desc = nullptr) const
    {
        return Import(FileURL(path, false), desc);
    }
    // Names in the user profile folder, hidden ones too.
    Names Imported() const
    {
        Names names;
        if (!fs::exists(user_)) return names;
        for (const auto& entry : fs::directory_iterator(user_))
            names.push_back(entry.path().filename().string());
        std::sort(names.begin(), names.end());
        return names;
    }

    FakeDisplay display_;
    const std::string user_ = Path("home/Quarvo/Profiles");
    const std::string adobe_ = TextOf(StandardProfileBytes(kPXColorStandardAdobeRGB1998));
    const std::string cmyk_ = TextOf(MakeCMYKProfile());
    const std::string grey_ = TextOf(MakeGreyProfile());
};

Names NamesIn(int (*get)(CFArrayRef*))
{
    CFArrayRef list = nullptr;
    EXPECT_EQ(0, get(&list));
    const Owned<CFArrayRef> owned(list);
    Names names;
    for (CFIndex i = 0; list && i < CFArrayGetCount(list); ++i) {
        const auto desc = As<PXColorProfileDesc>(CFArrayGetValueAtIndex(list, i));
        names.push_back(Utf8Of(PXColorProfileDescGetName(desc)));
    }
    return names;
}

TEST_F(ProfileFiles, AreListedByDisplayName)
{
    Write("data/color/icc/maker/deep/Wide.ICC", adobe_);  // "Adobe RGB (1998)"
    Write("data/color/icc/Paper.icm", cmyk_);
    Write("home/icc/grey.icc", grey_);
    Write("data/color/icc/broken.icc", adobe_.substr(0, 300));
    Write("data/color/icc/README", adobe_);
    Write("home/Quarvo/Profiles/mine.icc", adobe_);
    EventLog events;
    EXPECT_EQ((Names{"Wide.ICC", "grey.icc", "Paper.icm"}),
              NamesIn(PXColorProfileGetICCProfilesCopy));
    EXPECT_EQ((Names{"Paper.icm"}), NamesIn(PXColorProfileGetPrinterProfilesCopy));
    EXPECT_EQ((Names{"mine.icc"}), NamesIn(PXColorProfileGetUserProfilesCopy));
    EXPECT_TRUE(events.Messages().empty());
}

TEST_F(ProfileFiles, AreDescribed)
{
    Write("home/icc/Wide.icc", adobe_);
    const Desc owned(PXColorProfileDescMakeFromPath(Text(Path("home/icc/Wide.icc"))));
    const PXColorProfileDesc desc = owned.get();
    ASSERT_NE(nullptr, desc);
    EXPECT_EQ("Wide.icc", Utf8Of(PXColorProfileDescGetName(desc)));
    EXPECT_EQ("Adobe RGB (1998)", Utf8Of(PXColorProfileDescGetDisplayName(desc)));
    EXPECT_EQ(Path("home/icc/Wide.icc"), Utf8Of(PXColorProfileGetPathFromDesc(desc)));
    EXPECT_TRUE(CFEqual(FileURL(Path("home/icc/Wide.icc"), false), PXColorProfileDescGetURL(desc)));
    EXPECT_EQ(uint32_t{kPXColorProfileTypeDisplay}, PXColorProfileDescGetType(desc));
    EXPECT_EQ(PXColorSpaceType{kPXColorSpaceRGB}, PXColorProfileDescGetColorSpaceType(desc));

    EXPECT_EQ(0, PXColorProfileDescSetName(desc, CFSTR("other.icc")));
    EXPECT_EQ(0, PXColorProfileDescSetDisplayName(desc, CFSTR("Other")));
    const Profile profile;
    EXPECT_EQ(0, PXColorProfileSetICCNameFromDesc(profile, desc));
    EXPECT_EQ("other.icc", Utf8Of(PXColorProfileGetICCName(profile)));
    EXPECT_EQ("Other", Taken(PXColorProfileGetDisplayNameCopy(profile)));

    const Desc srgb(PXColorProfileGetDefaultProfileDescCopy());
    EXPECT_EQ(kSRGBFile, Utf8Of(PXColorProfileDescGetName(srgb.get())));
    EXPECT_EQ(nullptr, PXColorProfileDescGetURL(srgb.get()));
    Write("home/icc/pipe.icc.txt", "no profile");
    EventLog events;
    EXPECT_EQ(nullptr, PXColorProfileDescMakeFromPath(Text(Path("home/icc/pipe.icc.txt"))));
    EXPECT_EQ(1, events.Count(kPXErrNotFound));
    EXPECT_EQ(nullptr, PXColorProfileDescGetName(nullptr));
    EXPECT_EQ(1, events.Count(kPXErrBadArgument));
}

// By file name or path alone, and by any name.
TEST_F(ProfileFiles, AreFoundByTheirNames)
{
    Write("data/color/icc/x/Paper.icm", cmyk_);
    Write("home/Quarvo/Profiles/My Screen.icc", adobe_);
    Write("home/Quarvo/Profiles/Broken.icc", std::string(300, 'b'));
    const Rows<std::string, std::string, std::string> rows = {
        {"a standard's display name", "adobe rgb (1998)", "", "AdobeRGB1998.icc"},
        {"a standard's file name", "PROPHOTO.ICM", "ProPhoto.icm", "ProPhoto.icm"},
        {"another name of sRGB", "sRGB built-in", kSRGBFile, kSRGBFile},
        {"a file name", "paper.ICM", "Paper.icm", "Paper.icm"},
        {"a user's file name", "my screen.icc", "My Screen.icc", "My Screen.icc"},
        {"a display name", "plain inks", "", "Paper.icm"},
        {"an absolute path", Path("data/color/icc/x/Paper.icm"), "Paper.icm", "Paper.icm"},
        {"no profile inside", "Broken.icc", "", ""},
        {"a folder", Path("data"), "", ""},
        {"empty", "", "", ""},
        {"none", "paper", "", ""},
    };
    for (const auto& [name, wanted, onDisk, byAnyName] : rows) {
        SCOPED_TRACE(name);
        EventLog events;
        const Profile found(PXColorProfileCreateFromDisk(Text(wanted)));
        EXPECT_EQ(onDisk, found ? Utf8Of(PXColorProfileGetICCName(found)) : "");
        EXPECT_EQ(onDisk.empty() ? 1U : 0U, events.Messages().size());
        PXColorProfile handle = nullptr;
        const bool isFound = !byAnyName.empty();
        EXPECT_EQ(isFound ? 0 : kPXErrNotFound,
                  PXColorProfileCreateWithName(Text(wanted), &handle));
        const Profile profile(handle);
        EXPECT_EQ(byAnyName, profile ? Utf8Of(PXColorProfileGetICCName(profile)) : "");
        const uint32_t standard = isFound ? PXColorProfileGetStandard(profile) : 0;
        EXPECT_TRUE(standard <= kPXColorStandardOther || handle == Profile(standard));
    }
    const Desc found(PXColorProfileGetColorProfileDescWithDisplayNameCopy(CFSTR("PLAIN INKS")));
    EXPECT_EQ("Paper.icm", Utf8Of(PXColorProfileDescGetName(found.get())));
    EventLog events;
    EXPECT_EQ(nullptr, PXColorProfileGetColorProfileDescWithDisplayNameCopy(CFSTR("none")));
    EXPECT_EQ(nullptr, PXColorProfileCreateFromDisk(CFSTR("gone.icc")));
    EXPECT_EQ(std::vector<std::string>{"Can't find color profile: gone.icc. Error Number = 1003"},
              events.Messages());
}

TEST_F(ProfileFiles, AreValidForUsersWhenRGB)
{
    Write("from/rgb", adobe_);
    Write("from/cmyk.icc", cmyk_);
    Write("from/cut.icc", adobe_.substr(0, 200));
    EventLog events;
    for (const auto& [name, want] : {std::pair{"rgb", true},
                                     {"cmyk.icc", false},
                                     {"cut.icc", false},
                                     {"gone.icc", false},
                                     {"", false}}) {
        SCOPED_TRACE(name);
        bool isValid = !want;
        EXPECT_EQ(0, PXColorProfileUserColorProfileValid(
                         FileURL(Path(std::string("from/") + name), false), &isValid));
        EXPECT_EQ(want, isValid);
    }
    EXPECT_TRUE(events.Messages().empty());
    bool isValid = true;
    EXPECT_EQ(kPXErrBadArgument, PXColorProfileUserColorProfileValid(nullptr, &isValid));
    EXPECT_FALSE(isValid);
}

TEST_F(ProfileFiles, AreImportedByWhatTheyAre)
{
    // The status without a description and with one.
    const Rows<std::string, int, int> rows = {
        {"My Screen.icc", adobe_, 0, 0},
        {"capitals.ICM", adobe_, 0, 0},
        {"mixed.Icc", adobe_, 0, kPXErrNotFound},
        {"paper.icc", cmyk_, 0, kPXErrNotFound},
        {"no profile.icc", user_, 0, kPXErrNotFound},
        {"no extension", adobe_, 0, kPXErrNotFound},
        {"ProPhoto(2.2) RGB.icc", adobe_, 0, 0},  // may be replaced
        {"prophoto.icm", adobe_, kPXErrReservedName, kPXErrReservedName},
        {"SRGB color space PROFILE.ICM", adobe_, kPXErrReservedName, kPXErrReservedName},
        {"AdobeRGB1998.icc. .", adobe_, kPXErrReservedName, kPXErrReservedName},
        {"\xC5\xBFRGB Color Space Profile.icm", adobe_, kPXErrReservedName, kPXErrReservedName},
        {"line\nbreak.icc", adobe_, kPXErrBadArgument, kPXErrBadArgument},
    };
    for (const auto& [fileName, bytes, bare, described] : rows) {
        SCOPED_TRACE(fileName);
        const std::string from = std::string("from/") + fileName;
        Write(from, bytes);
        for (const bool isDescribed : {false, true}) {
            fs::remove_all(user_);
            EventLog events;
            PXColorProfileDesc desc = nullptr;
            const int want = isDescribed ? described : bare;
            EXPECT_EQ(want, Import(Path(from), isDescribed ? &desc : nullptr));
            const Desc owned(desc);
            EXPECT_EQ(want ? 1U : 0U, events.Messages().size());
            EXPECT_EQ(want ? Names{} : Names{fileName}, Imported());
            EXPECT_EQ(isDescribed && !want, desc != nullptr);
            if (!desc) continue;
            EXPECT_EQ("Adobe RGB (1998)", Utf8Of(PXColorProfileDescGetDisplayName(desc)));
            EXPECT_EQ(user_ + "/" + fileName, Utf8Of(PXColorProfileGetPathFromDesc(desc)));
        }
    }
}

// Names that would lead elsewhere, or to a file that must not be replaced.
TEST_F(ProfileFiles, NeverLeaveTheUserFolder)
{
    Write("from/good.icc", adobe_);
    Write("from/sub/ProPhoto.icm", adobe_);
    Write("outside.icc", "untouched");
    const std::string base = "file://" + Path("from");
    EventLog events;
    EXPECT_EQ(kPXErrReservedName, Import(URLOf(base + "/sub%2FProPhoto.icm")));
    EXPECT_EQ(kPXErrReservedName, Import(URLOf(base + "/sub/Pro%50hoto.icm")));
    EXPECT_EQ(kPXErrNotFound, Import(URLOf(base + "/sub/..")));
    EXPECT_EQ(kPXErrNotFound, Import(URLOf(base + "/sub/%2E%2E")));
    EXPECT_EQ(kPXErrNotFound, Import(URLOf(base + "/")));
    EXPECT_NE(0, Import(URLOf(base + "/good.icc%00/../../../outside.icc")));
    EXPECT_EQ(kPXErrBadArgument, Import(URLOf("https://example.org/good.icc")));
    EXPECT_EQ(Names{}, Imported());
    EXPECT_EQ(0, Import(URLOf(base + "/sub/..%2F..%2Ffrom%2Fgood.icc")));
    EXPECT_EQ(Names{"good.icc"}, Imported());

    // A link in the folder is replaced, not followed.
    fs::remove(user_ + "/good.icc");
    fs::create_symlink(Path("outside.icc"), user_ + "/good.icc");
    EXPECT_EQ(0, Import(Path("from/good.icc")));
    EXPECT_FALSE(fs::is_symlink(user_ + "/good.icc"));
    EXPECT_EQ(adobe_, Content(user_ + "/good.icc"));
    EXPECT_EQ("untouched", Content(Path("outside.icc")));
}

// A failure of any step leaves the folder as it was; the last one replaces in one step.
TEST_F(ProfileFiles, AreImportedWholeOrNotAtAll)
{
    Write("from/a.icc", adobe_);
    Write("home/Quarvo/Profiles/a.icc", "former");
    for (const Faulty step : {Faulty::kOpen, Faulty::kRead, Faulty::kWrite, Faulty::kSync,
                              Faulty::kClose, Faulty::kRename}) {
        EventLog events;
        {
            FakePlatform faulty(step, ENOSPC);
            EXPECT_NE(0, Import(Path("from/a.icc")));
        }
        EXPECT_EQ(1U, events.Messages().size());
        EXPECT_EQ(Names{"a.icc"}, Imported());
        EXPECT_EQ("former", Content(user_ + "/a.icc"));
    }
    EXPECT_EQ(0, Import(Path("from/a.icc")));
    EXPECT_EQ(adobe_, Content(user_ + "/a.icc"));
    fs::remove(user_ + "/a.icc");
    PXColorProfileSetMaxICCSize(100);
    EXPECT_EQ(kPXErrNotFound, Import(Path("from/a.icc")));
    PXColorProfileSetMaxICCSize(int64_t{64} << 20);
    EXPECT_EQ(Names{}, Imported());
    fs::create_directories(user_ + "/a.icc");
    EXPECT_EQ(kPXErrNotFound, Import(Path("from/a.icc")));
    EXPECT_EQ(Names{"a.icc"}, Imported());
}

}  // namespace
