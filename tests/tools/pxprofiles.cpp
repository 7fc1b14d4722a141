// pxprofiles — writes the profiles that tests make, cmyk.icc and grey.icc, for those in other
// languages.
//
//   pxprofiles <folder>

#include "support/Profiles.h"

#include <fstream>
#include <string>

int main(int argc, char** argv)
{
    const std::string folder = argc > 1 ? argv[1] : ".";
    const auto write = [&](const char* name, const std::vector<uint8_t>& bytes) {
        std::ofstream file(folder + name, std::ios::binary);
        file.write(reinterpret_cast<const char*>(bytes.data()), std::streamsize(bytes.size()));
        return file.good();
    };
    return write("/cmyk.icc", px::test::MakeCMYKProfile()) &&
                   write("/grey.icc", px::test::MakeGreyProfile())
               ? 0
               : 1;
}
