#pragma once

// PictureCommand — what the commands share that change the pixels of a picture and keep its
// profile.
//
// The picture is turned upright as its orientation says before anything is done with it. Profile,
// resolution, XMP and EXIF stay; EXIF's orientation and size are corrected and a preview in it
// dropped.

#include "Base/PXProgress.h"
#include "pxtool/Command.h"
#include "pxtool/PictureFile.h"

#include <functional>
#include <string>
#include <vector>

namespace px::tool {

struct PictureFiles {
    std::string input;
    std::string output;
    int32_t quality = kDefaultQuality;
};

// Every such command says this of its files.
inline constexpr char kPictureNotes[] =
    "IN is a JPEG, PNG or TIFF picture; the format of OUT follows from the end of its name. The "
    "picture is turned upright as its orientation says. Resolution is kept, XMP (in JPEG up to "
    "64 KB) as well, and EXIF between JPEG and PNG. With --force OUT may be IN; what stands there "
    "is replaced when the result is complete, and stays as it was after an error or Ctrl-C.";

// IN, OUT and --quality, and then those of the command.
std::vector<Option> WithFiles(PictureFiles* files, std::vector<Option> options);

// Reads a picture for a command: upright, with a profile that is not damaged.
Failure ReadUpright(const std::string& path, Progress& progress, Picture* picture);

// Gives the picture another image of the same layout but for the size.
void TakeImage(ImageOwner image, Picture* picture);

// Reads IN, lets `change` work on it, and writes OUT, which is there only after success. A dry run
// only tells of it.
using PictureChange = std::function<Failure(Picture* picture, Progress& progress)>;
Failure ChangePicture(const PictureFiles& files, const SharedOptions& shared,
                      const PictureChange& change);

// The end of it: writes the picture, or tells that it was read with one layout and would be written
// with another.
Failure FinishPicture(const PictureFiles& files, const SharedOptions& shared,
                      const PictureLayout& read, const Picture& picture, Progress& progress);

// Whether another picture of this size has room beside the one that is there.
Failure CheckRoom(const PictureLayout& layout, const std::string& path);

// Shows the progress of a library call on the tool's bar, and cancels the call on Ctrl-C.
class CallProgress {
public:
    explicit CallProgress(Progress& progress);
    CallProgress(const CallProgress&) = delete;
    CallProgress& operator=(const CallProgress&) = delete;
    ~CallProgress();

    PXProgress Get() const { return progress_; }
    // What a status of the call means for the picture at `path`.
    static Failure FailureOf(PXStatus status, const std::string& path);

private:
    PXProgress progress_;
};

}  // namespace px::tool
