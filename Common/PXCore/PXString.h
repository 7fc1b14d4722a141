#pragma once

// PXString — one owned, changeable text.
//
// Lengths and indices count UTF-16 units. Narrow text is UTF-8, wide text is zero-terminated
// UTF-16. An object may hold null, after a construction that failed; it can still be asked
// everything: it then logs 1003 and answers with the neutral value (false, 0, null, an empty
// queue). A null argument, or one that is a PXString holding null, logs 1005 with the same answers.
// All events name the source "PXString". One thread at a time may change an object or use it while
// another changes it.
//
// Needles come in five types: CFStringRef, PXString, zero-terminated units, UTF-8 and a single
// unit. Searches compare literally, or by full case folding unless `caseSensitive`. An empty needle
// is found nowhere, yet every string ends with it. Comparisons take objects only, since a literal
// could mean either conversion: write CFSTR("text") or PXString("text").

#include <deque>

#include "CoreFoundation/CFString.h"
#include "PXCore/PXExport.h"

class PX_API PXString {
public:
    // The empty text.
    PXString() noexcept;
    // Copies. A null source logs 1005 and leaves this object holding null.
    PXString(const PXString& other) noexcept;
    PXString(CFStringRef string) noexcept;
    // `length` units, which may be any; a negative length is as bad as null text.
    PXString(const UniChar* text, int length) noexcept;
    // Text that is not valid UTF-8 leaves this object holding null, without an event.
    PXString(const char* utf8) noexcept;
    ~PXString();

    // The one character "\".
    static PXString pathSeparator() noexcept;

    // The string held, borrowed until this object is assigned, cleared or destroyed.
    CFStringRef toCFString() const noexcept;
    operator CFStringRef() const noexcept;

    // New buffers with a terminator, which the caller frees with free(); null when memory runs out.
    // See PXUtilsGetUTF8StringCopy and PXUtilsGetUniCharStringCopy. Only the operator is silent
    // when this object holds null. Mind that the operator makes a new buffer each time.
    char* utf8Copy() const noexcept;
    operator char*() const noexcept;
    UniChar* ucs2Copy() const noexcept;

    // The greatest int stands for everything beyond.
    int size() const noexcept;
    // True for a text without units.
    bool isEmpty() const noexcept;
    // Makes the text empty; an object that held null holds a string from here on.
    void clear() noexcept;

    // Whether the text ends with the needle.
    bool endsWith(CFStringRef needle, bool caseSensitive) const noexcept;
    bool endsWith(const PXString& needle, bool caseSensitive) const noexcept;
    bool endsWith(const UniChar* needle, bool caseSensitive) const noexcept;
    bool endsWith(const char* needle, bool caseSensitive) const noexcept;
    bool endsWith(UniChar needle, bool caseSensitive) const noexcept;

    // The index of the first or last occurrence, -1 without one; 0, not -1, on null. `from` is
    // ignored on purpose: callers depend on results of the whole string.
    int indexOf(CFStringRef needle, int from, bool caseSensitive) const noexcept;
    int indexOf(const PXString& needle, int from, bool caseSensitive) const noexcept;
    int indexOf(const UniChar* needle, int from, bool caseSensitive) const noexcept;
    int indexOf(const char* needle, int from, bool caseSensitive) const noexcept;
    int indexOf(UniChar needle, int from, bool caseSensitive) const noexcept;
    int lastIndexOf(CFStringRef needle, int from, bool caseSensitive) const noexcept;
    int lastIndexOf(const PXString& needle, int from, bool caseSensitive) const noexcept;
    int lastIndexOf(const UniChar* needle, int from, bool caseSensitive) const noexcept;
    int lastIndexOf(const char* needle, int from, bool caseSensitive) const noexcept;
    int lastIndexOf(UniChar needle, int from, bool caseSensitive) const noexcept;

    // Whether the needle is found anywhere.
    bool contains(const PXString& needle, bool caseSensitive) const noexcept;

    // The pieces between the separators in order, empty ones included: one more than there are
    // separators. An empty separator gives the whole text.
    std::deque<PXString> split(CFStringRef separator) const;
    std::deque<PXString> split(const PXString& separator) const;
    std::deque<PXString> split(const UniChar* separator) const;
    std::deque<PXString> split(const char* separator) const;
    std::deque<PXString> split(UniChar separator) const;

    // Removes the last `n` units, or all there are; nothing for a negative number.
    void chop(int n) noexcept;

    // A null source leaves this object as it is.
    PXString& operator=(const PXString& other) noexcept;
    // Text that is not valid UTF-8 is ignored without an event.
    PXString& operator+=(CFStringRef text) noexcept;
    PXString& operator+=(const PXString& text) noexcept;
    PXString& operator+=(const UniChar* text) noexcept;
    PXString& operator+=(const char* text) noexcept;
    PXString& operator+=(UniChar unit) noexcept;

    // Exact comparison by units. With null on either side ==, !=, < and > are all false; <= and >=
    // are the negations of > and <, and so are true.
    bool operator==(CFStringRef other) const noexcept;
    bool operator==(const PXString& other) const noexcept;
    bool operator!=(CFStringRef other) const noexcept;
    bool operator!=(const PXString& other) const noexcept;
    bool operator<(CFStringRef other) const noexcept;
    bool operator<(const PXString& other) const noexcept;
    bool operator>(CFStringRef other) const noexcept;
    bool operator>(const PXString& other) const noexcept;
    bool operator<=(CFStringRef other) const noexcept;
    bool operator<=(const PXString& other) const noexcept;
    bool operator>=(CFStringRef other) const noexcept;
    bool operator>=(const PXString& other) const noexcept;

private:
    CFMutableStringRef string_ = nullptr;
};
