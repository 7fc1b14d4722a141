#pragma once

/* PXFolders: where the library keeps and looks for files unless it is told otherwise.
 *
 * The names follow the desktop's base-directory conventions:
 *   DATA    environment XDG_DATA_HOME when that is an absolute path, else HOME/.local/share
 *   SHARED  environment XDG_DATA_DIRS, else /usr/local/share and /usr/share
 *   PREFIX  where this library is installed, wherever that was moved to
 *   TMP     environment TMPDIR when that is an absolute path, else /tmp
 *
 *   DATA/Quarvo                        the software folder, made when first needed and then open
 *                                      to the user alone (0700)
 *   DATA/Quarvo/QuarvoLog.txt          the default log file; QuarvoLog.txt.1 and on are older
 *   DATA/Quarvo/Profiles               the user's colour profiles
 *   PREFIX/share/pxcore/Profiles       the standard colour profiles
 *   SHARED/color/icc, DATA/icc,
 *   HOME/.color/icc                    the system's colour profiles, sub-folders included
 *   DATA/PRODUCT, or PRODUCT in the    where the preset manager keeps a product's presets, see
 *   first folder of SHARED             PXPresetManager.h
 *   TMPDIR, else /var/tmp              above the tile store's folder of each process: on a disk
 *
 * All functions return a folder URL that the caller owns, whether or not the folder is there, and
 * null when the environment does not tell. Threads: any. */

#include "CoreFoundation/CFURL.h"
#include "PXCore/PXExport.h"

PX_EXTERN_C_BEGIN

/* DATA/Quarvo */
PX_API CFURLRef PXFoldersCopyUserData(void) PX_NOEXCEPT;
/* PREFIX/share/pxcore */
PX_API CFURLRef PXFoldersCopyInstalledData(void) PX_NOEXCEPT;
/* TMP */
PX_API CFURLRef PXFoldersCopyTemporary(void) PX_NOEXCEPT;

PX_EXTERN_C_END
