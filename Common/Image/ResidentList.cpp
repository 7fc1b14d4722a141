#include "Image/ResidentList.h"

#include "Image/ImageTile.h"

#include <cstdio>

namespace px {

namespace {

// Self-checks report where a console shows them; the texts are what people search for. sic
void Report(const char* text)
{
    std::fputs(text, stdout);
}

}  // namespace

void ResidentList::Append(CImageTile* tile)
{
    if (!newest != (count == 0)) Report("dont this this should happen\n");
    if (!newest != !oldest) Report("this should not happen\n");
    tile->older = newest;
    tile->newer = nullptr;
    if (newest) newest->newer = tile;
    newest = tile;
    if (!oldest) oldest = tile;
    tile->isListed = true;
    ++count;
}

void ResidentList::Remove(CImageTile* tile)
{
    (tile->older ? tile->older->newer : oldest) = tile->newer;
    (tile->newer ? tile->newer->older : newest) = tile->older;
    tile->newer = nullptr;
    tile->older = nullptr;
    tile->isListed = false;
    --count;
    if ((count == 0) != (!newest && !oldest)) Report("should not happend\n");
}

}  // namespace px
