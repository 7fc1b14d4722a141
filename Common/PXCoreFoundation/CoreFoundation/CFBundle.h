#pragma once

// CFBundle — the running program's resources, information and texts.
//
// The main bundle is made on first use from the folder E of the executable n: its resource folder
// is the environment variable PXCF_RESOURCES, else the first that exists of E/n.resources,
// E/Resources and E/../share/n, else E. Languages are searched in the user's order (exact, then the
// language alone), then the development region, "Base", and the resource folder itself. Read once;
// threads: internally locked.

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

CF_EXPORT CFTypeID CFBundleGetTypeID(void);

// Immortal and never NULL.
CF_EXPORT CFBundleRef CFBundleGetMainBundle(void);

// "Info.plist" of the resource folder; an empty dictionary when it is missing or unreadable.
// Borrowed, as are its values and the identifier (key "CFBundleIdentifier").
CF_EXPORT CFDictionaryRef CFBundleGetInfoDictionary(CFBundleRef bundle);
CF_EXPORT CFTypeRef CFBundleGetValueForInfoDictionaryKey(CFBundleRef bundle, CFStringRef key);
CF_EXPORT CFStringRef CFBundleGetIdentifier(CFBundleRef bundle);

// The text of `key` in the first table that holds it: LANGUAGE.lproj/TABLE.strings, a property list
// of strings; table NULL or "" is "Localizable". Else `value` when it is not empty, else the key.
CF_EXPORT CFStringRef CFBundleCopyLocalizedString(CFBundleRef bundle, CFStringRef key,
                                                  CFStringRef value, CFStringRef tableName);
CF_EXPORT CFURLRef CFBundleCopyBundleURL(CFBundleRef bundle);
CF_EXPORT CFURLRef CFBundleCopyExecutableURL(CFBundleRef bundle);
CF_EXPORT CFURLRef CFBundleCopyResourcesDirectoryURL(CFBundleRef bundle);

// The file NAME.TYPE (TYPE may be NULL) in the sub-folder (may be NULL) of the first language
// folder that has it, else of the resource folder; NULL when there is none.
CF_EXPORT CFURLRef CFBundleCopyResourceURL(CFBundleRef bundle, CFStringRef resourceName,
                                           CFStringRef resourceType, CFStringRef subDirName);

#ifdef __cplusplus
}
#endif
