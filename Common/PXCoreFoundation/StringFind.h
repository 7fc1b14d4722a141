#pragma once

// StringFind — searching text.

#include "StringFold.h"

namespace px::cf {

// The first place of `needle` in `text`, or the last with kCFCompareBackwards; kCFCompareAnchored
// allows only the start, or the end, of the text. {kCFNotFound, 0} when it is not there, when the
// needle is empty or folds to nothing, and when memory runs out.
CFRange FindInView(StringView text, StringView needle, CFStringCompareFlags flags);
// The same with other rules than those of the flags.
CFRange FindInView(StringView text, StringView needle, CFStringCompareFlags flags, FoldRules rules);

// Ranges of a text.
class RangeList {
public:
    [[nodiscard]] bool Add(CFRange range)
    {
        CFRange* ranges = ranges_.Reserve(count_ + 1, count_);
        if (ranges) ranges[count_++] = range;
        return ranges != nullptr;
    }
    size_t Count() const { return count_; }
    // As they were added, or the other way round.
    CFRange At(size_t index, bool isReversed = false)
    {
        return ranges_.Items()[isReversed ? count_ - 1 - index : index];
    }

private:
    Scratch<CFRange, 32> ranges_;
    size_t count_ = 0;
};

// All places where the needle is, none overlapping another, within `range`, in the order in which
// they are found. False when memory runs out.
bool FindAll(StringView text, StringView needle, CFRange range, CFStringCompareFlags flags,
             RangeList* places);

// Units agree one by one at the start of `text`.
bool StartsWith(StringView text, StringView prefix);

}  // namespace px::cf
