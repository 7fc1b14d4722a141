#pragma once

// CoreFoundation — every header of the CoreFoundation-compatible values in one.

#include "CFArray.h"
#include "CFBase.h"
#include "CFBundle.h"
#include "CFByteOrder.h"
#include "CFCharacterSet.h"
#include "CFData.h"
#include "CFDate.h"
#include "CFDictionary.h"
#include "CFError.h"
#include "CFLocale.h"
#include "CFNumber.h"
#include "CFNumberFormatter.h"
#include "CFPropertyList.h"
#include "CFSet.h"
#include "CFStream.h"
#include "CFString.h"
#include "CFTimeZone.h"
#include "CFURL.h"
#include "CFUUID.h"
#include "PXCFExtensions.h"
