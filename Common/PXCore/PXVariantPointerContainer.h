#pragma once

// PXVariantPointerContainer — lets an untyped pointer travel in a variant of the object kind.
//
// Counted; a copy is an object of its own with one reference. It never frees or looks at what it
// points to. One thread at a time may set the pointer or read it while another sets it.

#include "Base/BaseCore.h"

class PX_API PXVariantPointerContainer : public CBaseCore {
public:
    // Holds the pointer, which may be null.
    PXVariantPointerContainer(void* pointer) noexcept;
    PXVariantPointerContainer(const PXVariantPointerContainer& other) noexcept;
    ~PXVariantPointerContainer() override;
    // Copies the pointer; the counts stay as they are.
    PXVariantPointerContainer& operator=(const PXVariantPointerContainer& other) noexcept;

    // The pointer as it was set last.
    void* value() const noexcept;
    void setValue(void* pointer) noexcept;

private:
    void* pointer_;
};
