#pragma once

// Messages — what the commands that talk to a server have in common.

#include "Base/Ref.h"
#include "CoreFoundation/CoreFoundation.h"
#include "PXCore/PXStatus.h"
#include "pxtool/Command.h"

#include <string>

namespace px::tool {

// The product that `serve` publishes itself under unless it is given another name.
inline constexpr char kDefaultProduct[] = "pxtool";
// Of the requests that `serve` understands.
inline constexpr int32_t kDefaultVersion = 1;

CFRef<CFStringRef> StringFrom(const std::string& utf8);
std::string TextFrom(CFStringRef text);

// The bytes of a file; "-" is not one.
Failure ReadBytes(const std::string& path, CFRef<CFDataRef>* bytes);
// Prints bytes to standard output as they are.
Failure WriteOut(CFDataRef bytes);
Failure WriteOut(const std::string& text);

// Where a server is looked for: at a port, else where the product's data file says.
struct ServerPlace {
    std::string product = kDefaultProduct;
    int32_t port = 0;
};

// The options --product and --port before others; which port it is without the option.
std::vector<Option> WithPlace(ServerPlace* place, const char* portStandard,
                              std::vector<Option> others);
Failure FindServer(ServerPlace* place);
// That the server at a place gave a status where an answer was due.
Failure ServerFailure(const ServerPlace& place, PXStatus status);

}  // namespace px::tool
