#pragma once

// Folders — the default folders as paths; PXFolders.h lists them all.
//
// Every function reads the environment anew and answers "" when it does not tell.

#include <string>
#include <vector>

namespace px {

// What users and applications see of the library's name in their folders.
inline constexpr char kSoftwareFolderName[] = "Quarvo";

std::string DataHome();        // DATA
std::string UserDataFolder();  // DATA/Quarvo
std::string InstalledDataFolder();
std::string TemporaryFolder();
std::string HomeFolder();
std::vector<std::string> SharedDataFolders();

bool IsFolder(const std::string& path);
// What comes before the last slash; "" without one.
std::string ParentOf(const std::string& path);
// Makes a folder and its missing parents, for the user alone. A system error; 0 when it is there.
int MakeFolders(const std::string& path);

}  // namespace px
