#pragma once

// CFBundle — resources, information, texts and code of the running program, and of other folders.
//
// The main bundle is made on first use from the folder E of the executable n: its resource folder
// is the environment variable PXCF_RESOURCES, else the first that exists of E/n.resources,
// E/Resources and E/../share/n, else E. Languages are searched in the user's order (exact, then the
// language alone), then the development region, "Base", and the resource folder itself. Read once;
// threads: internally locked.
//
// Other bundles are folders: their resources lie in "Resources" when there is such a folder, else
// beside all else, and their code is the first file of NAME, libNAME.so and NAME.so, where NAME is
// the information's "CFBundleExecutable", else the folder's name without its extension. They are
// made once for each path and never destroyed.

#include "CFBase.h"

#ifdef __cplusplus
extern "C" {
#endif

#define CFCopyLocalizedString(key, comment) \
    CFBundleCopyLocalizedString(CFBundleGetMainBundle(), (key), (key), NULL)
#define CFCopyLocalizedStringFromTable(key, tbl, comment) \
    CFBundleCopyLocalizedString(CFBundleGetMainBundle(), (key), (key), (tbl))
#define CFCopyLocalizedStringFromTableInBundle(key, tbl, bundle, comment) \
    CFBundleCopyLocalizedString((bundle), (key), (key), (tbl))
#define CFCopyLocalizedStringWithDefaultValue(key, tbl, bundle, value, comment) \
    CFBundleCopyLocalizedString((bundle), (key), (value), (tbl))

// What CFGetTypeID gives for bundles.
CF_EXPORT CFTypeID CFBundleGetTypeID(void);

// Immortal and never NULL.
CF_EXPORT CFBundleRef CFBundleGetMainBundle(void);

// "Info.plist" of the resource folder; an empty dictionary when it is missing or unreadable.
// Borrowed, as are its values and the identifier (key "CFBundleIdentifier").
CF_EXPORT CFDictionaryRef CFBundleGetInfoDictionary(CFBundleRef bundle);
CF_EXPORT CFTypeRef CFBundleGetValueForInfoDictionaryKey(CFBundleRef bundle, CFStringRef key);
CF_EXPORT CFStringRef CFBundleGetIdentifier(CFBundleRef bundle);

// The text of `key` in the first table that holds it: LANGUAGE.lproj/TABLE.strings, a property list
// of strings in any form, such as lines of "key" = "value"; table NULL or "" is "Localizable". Else
// `value` when it is not empty, else the key.
CF_EXPORT CFStringRef CFBundleCopyLocalizedString(CFBundleRef bundle, CFStringRef key,
                                                  CFStringRef value, CFStringRef tableName);
// Where the bundle and its parts are; owned by the caller.
CF_EXPORT CFURLRef CFBundleCopyBundleURL(CFBundleRef bundle);
CF_EXPORT CFURLRef CFBundleCopyExecutableURL(CFBundleRef bundle);
CF_EXPORT CFURLRef CFBundleCopyResourcesDirectoryURL(CFBundleRef bundle);

// The file NAME.TYPE (TYPE may be NULL) in the sub-folder (may be NULL) of the first language
// folder that has it, else of the resource folder; NULL when there is none.
CF_EXPORT CFURLRef CFBundleCopyResourceURL(CFBundleRef bundle, CFStringRef resourceName,
                                           CFStringRef resourceType, CFStringRef subDirName);

// The files of a type (all for NULL) in the sub-folder (may be NULL) of all language folders and
// the resource folder, by name; of the same names the first one. Empty when there are none.
CF_EXPORT CFArrayRef CFBundleCopyResourceURLsOfType(CFBundleRef bundle, CFStringRef resourceType,
                                                    CFStringRef subDirName);

// The names of all language folders ("de", "Base"), in ascending order.
CF_EXPORT CFArrayRef CFBundleCopyBundleLocalizations(CFBundleRef bundle);

// Sub-folders of the bundle's folder, whether they exist or not.
CF_EXPORT CFURLRef CFBundleCopyBuiltInPlugInsURL(CFBundleRef bundle);
CF_EXPORT CFURLRef CFBundleCopySharedSupportURL(CFBundleRef bundle);

// The bundle of a folder; NULL when there is no such folder. Releasing it changes nothing.
CF_EXPORT CFBundleRef CFBundleCreate(CFAllocatorRef allocator, CFURLRef bundleURL);

// The main bundle or one that was made before; borrowed. NULL when none has that identifier.
CF_EXPORT CFBundleRef CFBundleGetBundleWithIdentifier(CFStringRef bundleID);

// "CFBundleVersion" of the information: a number as it is, and text such as "7.1.2b3" as two
// decimal digits, one, one, then a byte for the stage (d 0x20, a 0x40, b 0x60, f or none 0x80) and
// one for its number: 0x07126003. 0 when it is missing or of another form.
CF_EXPORT UInt32 CFBundleGetVersionNumber(CFBundleRef bundle);

// Loads the code, which runs its initialisers; true when it is loaded already. The main bundle's
// always is. Unloading makes all pointers into the code invalid.
CF_EXPORT Boolean CFBundleLoadExecutable(CFBundleRef bundle);
CF_EXPORT Boolean CFBundleIsExecutableLoaded(CFBundleRef bundle);
CF_EXPORT void CFBundleUnloadExecutable(CFBundleRef bundle);

// The address of an exported function or variable; loads the code when need be. NULL when there is
// none of that name.
CF_EXPORT void* CFBundleGetFunctionPointerForName(CFBundleRef bundle, CFStringRef functionName);
CF_EXPORT void* CFBundleGetDataPointerForName(CFBundleRef bundle, CFStringRef symbolName);

#ifdef __cplusplus
}
#endif
