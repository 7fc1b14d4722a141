#pragma once

// TilePeers — other tile caches that keep the tiles of a large picture of RGBA with 8 bits: GEGL,
// which reads and writes them, and OpenImageIO, which reads those of a tiled file without
// compression. Each in its best setting: sizes of tiles and of the cache are the caller's, nothing
// is compressed, and what spares a lookup by name is used.
//
// Functions end the program when the peer fails. Reading and locking are safe from all threads.

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <utility>

#if defined(PX_HAVE_OIIO)
#include <OpenImageIO/imagecache.h>
#include <OpenImageIO/imageio.h>
#endif
#if defined(PX_HAVE_GEGL)
#include <gegl.h>
// The tiles' own functions are not among those, and their header forgets that there is C++.
extern "C" {
#include <gegl-tile.h>
}
#endif

namespace px::bench {

// A square picture: its edge and that of its tiles, in pixels, and what of it may be in memory.
struct TiledPicture {
    int32_t side;
    int32_t tile;
    double limitBytes;
    std::string folder;  // for files; exists

    int32_t Columns() const { return (side + tile - 1) / tile; }
    int32_t Left(int32_t index) const { return index % Columns() * tile; }
    int32_t Top(int32_t index) const { return index / Columns() * tile; }
};

inline void MustBe(bool isTrue)
{
    if (!isTrue) std::abort();
}

#if defined(PX_HAVE_OIIO)
// Whoever makes one writes the file tile by tile: that is no work of the cache.
class OIIOTiles {
public:
    // `pixelsOf(index)` are those of a whole tile.
    template <class PixelsOf>
    OIIOTiles(TiledPicture picture, PixelsOf pixelsOf)
        : picture_(std::move(picture)), path_(picture_.folder + "/px_tiles_bench.tif")
    {
        OIIO::ImageSpec spec(picture_.side, picture_.side, 4, OIIO::TypeDesc::UINT8);
        spec.tile_width = spec.tile_height = picture_.tile;
        spec.attribute("compression", "none");
        const auto file = OIIO::ImageOutput::create(path_);
        MustBe(file && file->open(path_, spec));
        for (int32_t i = 0; i < picture_.Columns() * picture_.Columns(); ++i) {
            MustBe(file->write_tile(picture_.Left(i), picture_.Top(i), 0, OIIO::TypeDesc::UINT8,
                                    pixelsOf(i)));
        }
        MustBe(file->close());
        cache_ = OIIO::ImageCache::create(false);
        cache_->attribute("max_memory_MB", static_cast<float>(picture_.limitBytes / (1 << 20)));
        image_ = cache_->get_image_handle(OIIO::ustring(path_));
        MustBe(image_ != nullptr);
    }
    OIIOTiles(const OIIOTiles&) = delete;
    OIIOTiles& operator=(const OIIOTiles&) = delete;
    ~OIIOTiles()
    {
        OIIO::ImageCache::destroy(cache_, true);
        std::filesystem::remove(path_);
    }

    // Rows of `pixels` are as long as a tile's, also where the picture ends before.
    void Read(int32_t index, char* pixels) const
    {
        const int32_t x = picture_.Left(index);
        const int32_t y = picture_.Top(index);
        MustBe(cache_->get_pixels(image_, nullptr, 0, 0, x,
                                  std::min(x + picture_.tile, picture_.side), y,
                                  std::min(y + picture_.tile, picture_.side), 0, 1, 0, 4,
                                  OIIO::TypeDesc::UINT8, pixels, 4, int64_t{4} * picture_.tile));
    }

    // A tile that stays in memory until it is unlocked.
    class Locker {
    public:
        explicit Locker(const OIIOTiles& tiles)
            : tiles_(tiles), thread_(tiles.cache_->get_perthread_info())
        {
        }
        const void* Lock(int32_t index)
        {
            OIIO::TypeDesc type;
            tile_ =
                tiles_.cache_->get_tile(tiles_.image_, thread_, 0, 0, tiles_.picture_.Left(index),
                                        tiles_.picture_.Top(index), 0);
            return tiles_.cache_->tile_pixels(tile_, type);
        }
        void Unlock() { tiles_.cache_->release_tile(tile_); }

    private:
        const OIIOTiles& tiles_;
        OIIO::ImageCache::Perthread* thread_;
        OIIO::ImageCache::Tile* tile_ = nullptr;
    };

private:
    const TiledPicture picture_;
    const std::string path_;
    OIIO::ImageCache* cache_ = nullptr;
    OIIO::ImageCache::ImageHandle* image_ = nullptr;
};
#endif

#if defined(PX_HAVE_GEGL)
// Its tiles leave for a swap file in the folder, on a thread of its own.
class GEGLTiles {
public:
    explicit GEGLTiles(TiledPicture picture) : picture_(std::move(picture))
    {
        Start();
        g_object_set(gegl_config(), "tile-cache-size", static_cast<guint64>(picture_.limitBytes),
                     "tile-width", picture_.tile, "tile-height", picture_.tile, "swap",
                     picture_.folder.c_str(), "swap-compression", "none", "use-opencl", FALSE,
                     nullptr);
        const GeglRectangle bounds = {0, 0, picture_.side, picture_.side};
        format_ = babl_format("R'G'B'A u8");
        buffer_ = gegl_buffer_new(&bounds, format_);
    }
    GEGLTiles(const GEGLTiles&) = delete;
    GEGLTiles& operator=(const GEGLTiles&) = delete;
    ~GEGLTiles() { g_object_unref(buffer_); }

    // Rows of `pixels` are as long as a tile's, also where the picture ends before.
    void Write(int32_t index, const char* pixels)
    {
        const GeglRectangle rect = Rect(index);
        gegl_buffer_set(buffer_, &rect, 0, format_, pixels, 4 * picture_.tile);
    }
    void Read(int32_t index, char* pixels) const
    {
        const GeglRectangle rect = Rect(index);
        gegl_buffer_get(buffer_, &rect, 1.0, format_, pixels, 4 * picture_.tile, GEGL_ABYSS_NONE);
    }

    // A tile that stays in memory until it is unlocked.
    class Locker {
    public:
        explicit Locker(const GEGLTiles& tiles) : tiles_(tiles) {}
        const void* Lock(int32_t index)
        {
            const int32_t columns = tiles_.picture_.Columns();
            tile_ = gegl_buffer_get_tile(tiles_.buffer_, index % columns, index / columns, 0);
            gegl_tile_read_lock(tile_);
            return gegl_tile_get_data(tile_);
        }
        void Unlock()
        {
            gegl_tile_read_unlock(tile_);
            gegl_tile_unref(tile_);
        }

    private:
        const GEGLTiles& tiles_;
        GeglTile* tile_ = nullptr;
    };

private:
    // Once in a process; what it leaves in the folder goes at the end.
    static void Start()
    {
        struct Session {
            Session() { gegl_init(nullptr, nullptr); }
            ~Session() { gegl_exit(); }
        };
        static const Session session;
    }
    GeglRectangle Rect(int32_t index) const
    {
        const int32_t x = picture_.Left(index);
        const int32_t y = picture_.Top(index);
        return {x, y, std::min(picture_.tile, picture_.side - x),
                std::min(picture_.tile, picture_.side - y)};
    }

    const TiledPicture picture_;
    const Babl* format_ = nullptr;
    GeglBuffer* buffer_ = nullptr;
};
#endif

}  // namespace px::bench
