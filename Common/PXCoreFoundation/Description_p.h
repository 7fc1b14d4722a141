#pragma once

// Description_p — descriptions made of the class name and the text form of the value.

#include "Runtime.h"

namespace px::cf {

// "<CFName text>", where the text is what "%@" prints. Only for classes with a text form of their
// own. Null when memory runs out.
CFStringRef DescribeByTextForm(const Object* object);

}  // namespace px::cf
