#pragma once

// Warp — what rotate and transform share: a picture seen through an affine transform.

#include "pxtool/PictureCommand.h"

#include <string>
#include <vector>

namespace px::tool {

struct WarpSettings {
    PictureFiles files;
    std::string method = "bicubic";
    std::string fill;
    bool repeatsEdges = false;
};

// Those of every picture command, those of the command, and method, fill and edges.
std::vector<Option> WithWarp(WarpSettings* settings, std::vector<Option> options);

// Numbers with commas between them, and nothing else; each of them finite.
bool ReadNumberList(const std::string& text, std::vector<double>* numbers);

// Makes sense of the settings before any work.
Failure CheckWarp(const WarpSettings& settings, std::string_view command);

// Gives the picture another size and the pixels that the transform, from old to new pixels, puts
// there. Without fill and edges a picture with alpha becomes transparent beyond its edge without a
// fringe, others white.
Failure WarpPicture(const WarpSettings& settings, std::string_view command, PXSize size,
                    const PXAffineTransform& transform, Picture* picture, Progress& progress);

}  // namespace px::tool
