#include "Image/TileArena.h"

#include "Base/NeverDestroyed.h"
#include "Base/Platform/Platform.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <new>

namespace px {

namespace {

// A slab is large enough for the huge page at its end, which its last buffer may only touch, not
// to matter, and small enough for address space.
constexpr size_t kSlabBytes = size_t{32} << 20;
// Buffers are whole pages, the unit in which memory goes back to the system.
constexpr size_t kAlignment = 4096;

}  // namespace

void TileBlock::Release() noexcept
{
    // What every former owner wrote must be done before the buffer serves another tile.
    if (owners_.fetch_sub(1, std::memory_order_acq_rel) > 1) return;
    arena_->Give(*this);
    delete this;
}

TileArena::TileArena(uint64_t budget) : budget_(budget) {}

TileArena::~TileArena()
{
    for (SizeClass& sizes : classes_) {
        for (const auto& slab : sizes.slabs) os::Os().freeBlock(slab->base, slab->bytes);
        if (sizes.blank) os::Os().freeBlock(sizes.blank->Pixels(), sizes.blank->Size());
        delete sizes.blank;
    }
}

TileArena& TileArena::Shared()
{
    static NeverDestroyed<TileArena> arena(std::numeric_limits<uint64_t>::max());
    return *arena;
}

PXRef<TileBlock> TileArena::Take(size_t size, bool zeroed)
{
    const size_t rounded = Rounded(size);
    Place place = {};
    bool isClean = true;
    {
        const MutexLocker lock(mutex_);
        SizeClass& sizes = ClassOf(rounded);
        if (!sizes.kept.empty()) {
            place = sizes.kept.back();
            sizes.kept.pop_back();
            --place.slab->kept;
            usage_.kept -= rounded;
            isClean = false;
        } else {
            if (sizes.clean.empty() && !Grow(sizes)) return {};
            Shrink(rounded);
            place = sizes.clean.back();
            sizes.clean.pop_back();
        }
        ++place.slab->used;
        usage_.inUse += rounded;
        CountPeak();
    }
    if (zeroed && !isClean) std::memset(place.pixels, 0, rounded);
    return PXRef<TileBlock>::Adopt(new TileBlock(this, place.slab, place.pixels, rounded));
}

PXRef<TileBlock> TileArena::Blank(size_t size)
{
    const size_t rounded = Rounded(size);
    const MutexLocker lock(mutex_);
    SizeClass& sizes = ClassOf(rounded);
    if (!sizes.blank) {
        auto* zeros = static_cast<char*>(os::Os().reserveBlock(rounded));
        if (!zeros) return {};
        sizes.blank = new TileBlock(this, nullptr, zeros, rounded);
    }
    return PXRef<TileBlock>::Retain(sizes.blank);
}

size_t TileArena::Rounded(size_t size)
{
    return (size + kAlignment - 1) / kAlignment * kAlignment;
}

void TileArena::Give(const TileBlock& block)
{
    const MutexLocker lock(mutex_);
    SizeClass& sizes = ClassOf(block.Size());
    const Place place = {block.slab_, block.Pixels()};
    --place.slab->used;
    usage_.inUse -= block.Size();
    const uint64_t kept = usage_.kept + block.Size();
    if (kept <= kMostKept && usage_.inUse + kept <= budget_) {
        sizes.kept.push_back(place);
        ++place.slab->kept;
        usage_.kept = kept;
    } else {
        Discard(sizes, place);
        DropIfUnused(sizes, place.slab);
    }
}

void TileArena::SetBudget(uint64_t bytes)
{
    const MutexLocker lock(mutex_);
    budget_ = bytes;
    Shrink(0);
}

TileArena::Usage TileArena::GetUsage() const
{
    const MutexLocker lock(mutex_);
    return usage_;
}

void TileArena::ResetPeak()
{
    const MutexLocker lock(mutex_);
    usage_.peak = 0;
    CountPeak();
}

TileArena::SizeClass& TileArena::ClassOf(size_t size)
{
    for (SizeClass& sizes : classes_) {
        if (sizes.size == size) return sizes;
    }
    classes_.emplace_back().size = size;
    return classes_.back();
}

bool TileArena::Grow(SizeClass& sizes)
{
    const size_t count = std::max<size_t>(1, kSlabBytes / sizes.size);
    const size_t bytes = (count * sizes.size + os::kHugePage - 1) / os::kHugePage * os::kHugePage;
    auto* base = static_cast<char*>(os::Os().reserveBlock(bytes));
    if (!base) return false;
    auto slab = std::make_unique<TileSlab>();
    slab->base = base;
    slab->bytes = bytes;
    // The first buffer is handed out first, so that a slab fills its huge pages one by one.
    for (size_t i = count; i-- > 0;) sizes.clean.push_back({slab.get(), base + i * sizes.size});
    sizes.slabs.push_back(std::move(slab));
    return true;
}

// Gives kept memory back until `wanted` more bytes fit the budget.
void TileArena::Shrink(uint64_t wanted)
{
    for (SizeClass& sizes : classes_) {
        while (!sizes.kept.empty() && usage_.inUse + usage_.kept + wanted > budget_) {
            const Place place = sizes.kept.back();
            sizes.kept.pop_back();
            --place.slab->kept;
            usage_.kept -= sizes.size;
            Discard(sizes, place);
            // Whoever wants a buffer takes it from a slab that may not be in use yet.
            if (wanted == 0) DropIfUnused(sizes, place.slab);
        }
    }
}

void TileArena::Discard(SizeClass& sizes, Place place)
{
    os::Os().discardBlock(place.pixels, sizes.size);
    sizes.clean.push_back(place);
}

void TileArena::DropIfUnused(SizeClass& sizes, const TileSlab* slab)
{
    if (slab->used > 0 || slab->kept > 0) return;
    std::erase_if(sizes.clean, [&](const Place& place) { return place.slab == slab; });
    os::Os().freeBlock(slab->base, slab->bytes);
    std::erase_if(sizes.slabs, [&](const auto& candidate) { return candidate.get() == slab; });
}

void TileArena::CountPeak()
{
    usage_.peak = std::max(usage_.peak, usage_.inUse + usage_.kept);
}

}  // namespace px
