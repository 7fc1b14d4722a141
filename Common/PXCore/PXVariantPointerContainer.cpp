#include "PXCore/PXVariantPointerContainer.h"

PXVariantPointerContainer::PXVariantPointerContainer(void* pointer) noexcept : pointer_(pointer) {}

PXVariantPointerContainer::PXVariantPointerContainer(
    const PXVariantPointerContainer& other) noexcept
    : CBaseCore(), pointer_(other.pointer_)
{
}

PXVariantPointerContainer::~PXVariantPointerContainer() = default;

PXVariantPointerContainer& PXVariantPointerContainer::operator=(
    const PXVariantPointerContainer& other) noexcept
{
    pointer_ = other.pointer_;
    return *this;
}

void* PXVariantPointerContainer::value() const noexcept
{
    return pointer_;
}

void PXVariantPointerContainer::setValue(void* pointer) noexcept
{
    pointer_ = pointer;
}
