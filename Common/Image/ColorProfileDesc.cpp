#include "Image/ColorProfileDesc.h"

#include "Image/LCMSColorProfile.h"
#include "Image/ProfileFolders.h"
#include "Image/StandardProfiles.h"

#include "Base/UTF8Text.h"

#include <new>

namespace {

// Opens and closes a profile for a look at it, without a word in the log: a file in a folder may be
// anything.
class Look {
public:
    explicit Look(const std::vector<uint8_t>& bytes)
        : context_(cmsCreateContext(nullptr, nullptr)),
          handle_(context_ ? px::OpenICC(context_, bytes.data(), bytes.size()) : nullptr)
    {
    }
    ~Look()
    {
        if (handle_) cmsCloseProfile(handle_);
        if (context_) cmsDeleteContext(context_);
    }
    Look(const Look&) = delete;
    Look& operator=(const Look&) = delete;
    cmsHPROFILE Handle() const { return handle_; }

private:
    cmsContext context_;
    cmsHPROFILE handle_;
};

}  // namespace

PXRef<ColorProfileDesc> ColorProfileDesc::OfFile(const std::string& path)
{
    std::vector<uint8_t> bytes;
    if (px::ReadProfileFile(path, LCMSColorProfile::MaxICCSize(), &bytes) != kPXOK) return {};
    return OfBytes(path, bytes);
}

PXRef<ColorProfileDesc> ColorProfileDesc::OfBytes(const std::string& path,
                                                  const std::vector<uint8_t>& bytes)
{
    const Look look(bytes);
    if (!look.Handle()) return {};
    auto made = PXRef<ColorProfileDesc>::Adopt(new (std::nothrow) ColorProfileDesc);
    if (!made) return {};
    made->url = px::URLOf(path, false);
    made->path = px::StringOfAnyBytes(path);
    made->name = px::StringOfAnyBytes(px::FileNameOf(path));
    made->displayName = px::DescriptionOf(look.Handle());
    if (!made->displayName || CFStringGetLength(made->displayName.Get()) == 0) {
        made->displayName = made->name;
    }
    made->type = static_cast<uint32_t>(cmsGetDeviceClass(look.Handle()));
    made->model = px::ModelOf(look.Handle());
    return made;
}

PXRef<ColorProfileDesc> ColorProfileDesc::OfBuiltInSRGB()
{
    auto made = PXRef<ColorProfileDesc>::Adopt(new (std::nothrow) ColorProfileDesc);
    if (!made) return {};
    const px::StandardProfile* srgb = px::FindStandard(kPXColorStandardSRGB);
    made->name = px::StringOf(srgb->fileName);
    made->displayName = px::StringOf(srgb->displayName);
    made->type = kPXColorProfileTypeDisplay;
    made->model = kPXColorSpaceRGB;
    return made;
}

namespace px {

std::vector<PXRef<ColorProfileDesc>> DescribeFiles(const std::vector<std::string>& paths)
{
    std::vector<PXRef<ColorProfileDesc>> list;
    for (const std::string& path : paths) {
        if (PXRef<ColorProfileDesc> desc = ColorProfileDesc::OfFile(path)) list.push_back(desc);
    }
    return list;
}

}  // namespace px
