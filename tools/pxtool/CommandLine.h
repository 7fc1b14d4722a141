#pragma once

// CommandLine — from the arguments of the program to its exit code.

namespace px::tool {

// Runs the tool. Never throws; everything it has to say is said.
int Main(int argc, const char* const* argv) noexcept;

}  // namespace px::tool
