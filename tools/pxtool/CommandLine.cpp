#include "pxtool/CommandLine.h"

#include "pxtool/ConvertCommand.h"
#include "pxtool/Profiles.h"
#include "pxtool/Progress.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cstdio>
#include <exception>
#include <iterator>
#include <new>
#include <string>
#include <string_view>

namespace px::tool {

namespace {

constexpr std::string_view kCommands[] = {"convert"};
constexpr std::string_view kOptions[] = {"--to",      "--from", "--intent", "--bands",
                                         "--quality", "--help", "--version"};
constexpr std::string_view kIntents[] = {"perceptual", "relative"};
constexpr int32_t kMaxBands = 1024;

constexpr char kAbout[] = "pxtool - works on picture files with colour management";
constexpr char kConvertAbout[] =
    "Converts a JPEG, PNG or TIFF picture to another colour profile.\n"
    "\n"
    "The format of OUT follows from the end of its name. The profile embedded in IN is used, sRGB\n"
    "when there is none; the new profile is embedded in OUT. The picture is turned upright as its\n"
    "orientation says. Resolution is kept, EXIF between JPEG and PNG. OUT may be IN; it is "
    "replaced\n"
    "when the result is complete, and stays as it was after an error or Ctrl-C.";
constexpr char kConvertFooter[] =
    "\nPROFILE is srgb, adobergb, prophoto or prophoto22, the path of an ICC file, or the name of\n"
    "one in the system's colour folders.\n"
    "\n"
    "Exit codes: 0 done, 2 wrong arguments, 3 input, 4 output, 5 resources, 130 cancelled.";

void Say(const Failure& failure)
{
    std::fputs(LineFor(failure).c_str(), stderr);
}

bool IsOneOf(std::string_view word, std::span<const std::string_view> words)
{
    return std::find(words.begin(), words.end(), word) != words.end();
}

Failure UsageFailure(std::string text, std::string_view word,
                     std::span<const std::string_view> candidates)
{
    const std::string_view nearest = word.empty() ? std::string_view() : Nearest(word, candidates);
    return {ExitCode::kUsage, std::move(text),
            nearest.empty() ? "see pxtool convert --help"
                            : "did you mean '" + std::string(nearest) + "'?"};
}

// The first word that looks like an option and is none; empty when there is none.
std::string_view UnknownOption(int argc, const char* const* argv)
{
    for (int i = 1; i < argc; ++i) {
        const std::string_view word(argv[i]);
        if (word == "--") break;
        const std::string_view name = word.substr(0, word.find('='));
        if (name.substr(0, 2) == "--" && !IsOneOf(name, kOptions)) return name;
    }
    return {};
}

// What CLI11 says, as a part of one line.
Failure FailureOf(const CLI::ParseError& error, int argc, const char* const* argv)
{
    std::string text = error.what();
    std::replace(text.begin(), text.end(), '\n', ' ');
    while (!text.empty() && (text.back() == '.' || text.back() == ' ')) text.pop_back();
    return UsageFailure(std::move(text), UnknownOption(argc, argv), kOptions);
}

Failure ReadIntent(const std::string& name, int32_t* intent)
{
    if (!IsOneOf(name, kIntents)) {
        return UsageFailure("there is no intent '" + name + "'", name, kIntents);
    }
    *intent = name == kIntents[0] ? kPXIntentPerceptual : kPXIntentRelativeColorimetric;
    return Done();
}

int Finish(const Failure& failure)
{
    if (failure) Say(failure);
    return static_cast<int>(failure.code);
}

int Run(int argc, const char* const* argv)
{
    if (argc < 2) return Finish(UsageFailure("no command is given", "", kCommands));
    // CLI11 would only miss a command; naming the mistyped one helps more.
    if (argv[1][0] != '-' && !IsOneOf(argv[1], kCommands)) {
        return Finish(
            UsageFailure("there is no command '" + std::string(argv[1]) + "'", argv[1], kCommands));
    }
    ConvertOptions options;
    std::string intent(kIntents[1]);
    CLI::App app(kAbout, "pxtool");
    app.set_version_flag("--version", "pxtool " PXTOOL_VERSION);
    app.require_subcommand(1);
    CLI::App* convert = app.add_subcommand("convert", kConvertAbout);
    convert->footer(kConvertFooter);
    convert->add_option("IN", options.input, "the picture to read")->required();
    convert->add_option("OUT", options.output, "the picture to write")->required();
    convert->add_option("--to", options.to, "the profile to convert to")
        ->required()
        ->type_name("PROFILE");
    convert->add_option("--from", options.from, "the profile of IN, in place of the embedded one")
        ->type_name("PROFILE");
    convert->add_option("--intent", intent, "perceptual or relative (as set without this option)")
        ->type_name("INTENT");
    convert
        ->add_option("--bands", options.bands,
                     "parts that large pictures are converted in side by side, 1 to 1024 "
                     "(without this option: one for each processor)")
        ->check(CLI::Range(1, kMaxBands))
        ->type_name("N");
    convert->add_option("--quality", options.quality, "of JPEG, 1 to 100 (without this option: 92)")
        ->check(CLI::Range(1, 100))
        ->type_name("N");
    try {
        app.parse(argc, argv);
    } catch (const CLI::Success& wish) {
        return app.exit(wish);  // prints the help or the version
    } catch (const CLI::ParseError& error) {
        return Finish(FailureOf(error, argc, argv));
    }
    if (Failure failure = ReadIntent(intent, &options.intent)) return Finish(failure);
    CatchSignals();
    return Finish(RunConvert(options));
}

// Without an allocation: memory may be what is missing.
int FinishBadly(const char* what) noexcept
{
    std::fprintf(stderr, "pxtool: %s. Hint: close other programs, or convert a smaller picture\n",
                 what);
    return static_cast<int>(ExitCode::kResources);
}

}  // namespace

int Main(int argc, const char* const* argv) noexcept
{
    try {
        return Run(argc, argv);
    } catch (const std::bad_alloc&) {
        return FinishBadly("memory ran out");
    } catch (const std::exception& error) {
        return FinishBadly(error.what());
    } catch (...) {
        return FinishBadly("something unexpected happened");
    }
}

}  // namespace px::tool
