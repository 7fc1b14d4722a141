#pragma once

// Test — what nearly every test program uses: the test framework, the standard library, CF values,
// captured logs and printed seeds.

#include "support/CF.h"
#include "support/EventLog.h"
#include "support/Seed.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <future>
#include <limits>
#include <map>
#include <memory>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <utility>
#include <vector>
