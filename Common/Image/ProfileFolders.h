#pragma once

// ProfileFolders — where colour profiles lie, and how one is found by its file name.
//
// Three places, in the order of the search: the shared profile folder, the user's, and the system's
// colour folders with their sub-folders (Base/PXFolders.h names them). Not locked: the colour lock
// guards the one instance.

#include <string>
#include <vector>

#include "CoreFoundation/CFURL.h"
#include "PXCore/PXStatus.h"

namespace px {

class ProfileFolders {
public:
    // Folders of this installation and of the system's conventions.
    void SetDefaults();
    // Application-support folders; "Profiles" is appended. Null keeps the default.
    void SetSupportFolders(CFURLRef shared, CFURLRef user);

    // The path of the first profile whose file name equals `fileName` without regard to case; empty
    // when there is none.
    std::string Find(const std::string& fileName) const;

    // The paths of files that are named as profiles are (*.icc and *.icm), in the order of a
    // search: in the system's colour folders, in the user's profile folder, and in all of them.
    std::vector<std::string> SystemFiles() const;
    std::vector<std::string> UserFiles() const;
    std::vector<std::string> AllFiles() const;

    const std::string& UserFolder() const { return user_; }

private:
    std::string shared_;
    std::string user_;
    std::vector<std::string> system_;
};

// What comes after the last slash.
std::string FileNameOf(const std::string& path);

// Reads a whole file of at most `limitBytes`; empty when it cannot be read or is larger.
PXStatus ReadProfileFile(const std::string& path, int64_t limitBytes, std::vector<uint8_t>* bytes);

}  // namespace px
