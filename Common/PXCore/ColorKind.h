#pragma once

// ColorKind — how a variant copies and frees a colour.
//
// Variants know the colour class by name only, so that this layer stands without it. Whoever brings
// the class registers the two functions once, before a variant can hold a colour, and adds the
// public constructor from a colour to PXVariant; tags and slots stay as they are.

class PXColor;

namespace px {

struct ColorKind {
    PXColor* (*copy)(const PXColor& color);
    void (*destroy)(PXColor* color);
};

// `kind` must live as long as any variant that holds a colour; null takes the kind away again.
void SetColorKind(const ColorKind* kind);

}  // namespace px
