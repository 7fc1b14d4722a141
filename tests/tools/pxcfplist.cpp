// pxcfplist — reads property lists and writes them in another form, for comparing with other tools.
//
//   pxcfplist xml|bare|bin <input> <output> [<input> <output>...]
//
// xml and bin are the two formats, bare is XML without the DOCTYPE line. Exit code 1 when an input
// is refused; the reason goes to standard error and the remaining pairs are still done.

#include "support/CF.h"

#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>

namespace {

using namespace px::test;

CFDataRef Written(const std::string& form, CFPropertyListRef list, CFErrorRef* error)
{
    const CFPropertyListFormat format =
        form == "bin" ? kCFPropertyListBinaryFormat_v1_0 : kCFPropertyListXMLFormat_v1_0;
    return CFPropertyListCreateData(nullptr, list, format,
                                    form == "bare" ? kPXCFPropertyListOmitDoctype : 0, error);
}

bool Convert(const std::string& form, const char* inputPath, const char* outputPath)
{
    std::ifstream input(inputPath, std::ios::binary);
    const std::string bytes((std::istreambuf_iterator<char>(input)), {});
    CFErrorRef error = nullptr;
    const Owned<CFPropertyListRef> list(
        CFPropertyListCreateWithData(nullptr, DataOf(bytes), 0, nullptr, &error));
    const Owned<CFDataRef> data(list ? Written(form, list, &error) : nullptr);
    const Owned<CFErrorRef> owner(error);
    if (!data) {
        const std::string reason = error ? Taken(CFErrorCopyDescription(error)) : "no reason given";
        std::fprintf(stderr, "%s: %s\n", inputPath, reason.c_str());
        return false;
    }
    std::ofstream(outputPath, std::ios::binary) << BytesOf(data);
    return true;
}

}  // namespace

int main(int argc, char** argv)
{
    const std::string form = argc > 1 ? argv[1] : "";
    if (argc < 4 || argc % 2 != 0 || (form != "xml" && form != "bare" && form != "bin")) {
        std::fprintf(stderr, "usage: pxcfplist xml|bare|bin <input> <output> ...\n");
        return 2;
    }
    bool isGood = true;
    for (int i = 2; i < argc; i += 2) isGood = Convert(form, argv[i], argv[i + 1]) && isGood;
    return isGood ? 0 : 1;
}
