#pragma once

// PresetList — XML property lists like files of presets, for benchmarks.

#include <cstddef>
#include <map>
#include <random>
#include <string>

namespace px::bench {

inline std::string Name(std::mt19937& random, size_t length)
{
    std::string name;
    for (size_t i = 0; i < length; ++i) name += static_cast<char>('a' + random() % 26);
    return name;
}

// One preset: a dictionary with names, switches, numbers, a curve and a little data.
inline void AppendPreset(std::mt19937& random, int index, std::string* xml)
{
    const auto entry = [xml](const char* key, const std::string& element) {
        *xml += std::string("\t\t<key>") + key + "</key>\n\t\t" + element + "\n";
    };
    *xml += "\t<dict>\n";
    entry("Comment", "<string>Made for " + Name(random, 20 + random() % 40) + "</string>");
    *xml += "\t\t<key>Curve</key>\n\t\t<array>\n";
    for (int point = 0; point < 8; ++point) {
        *xml += "\t\t\t<dict>\n\t\t\t\t<key>x</key>\n\t\t\t\t<real>" +
                std::to_string(static_cast<double>(random() % 1000) / 999) +
                "</real>\n\t\t\t\t<key>y</key>\n\t\t\t\t<real>" +
                std::to_string(static_cast<double>(random() % 1000) / 999) +
                "</real>\n\t\t\t</dict>\n";
    }
    *xml += "\t\t</array>\n";
    entry("Enabled", random() % 2 ? "<true/>" : "<false/>");
    entry("Exposure", "<real>" + std::to_string(static_cast<double>(random()) / 1e9) + "</real>");
    entry("Group", "<string>Group &amp; " + std::to_string(random() % 20) + "</string>");
    entry("Identifier", "<integer>" + std::to_string(index) + "</integer>");
    entry("Name", "<string>Preset " + std::to_string(index) + " " + Name(random, 8) + "</string>");
    entry("Saturation", "<integer>" + std::to_string(random() % 4000) + "</integer>");
    entry("Thumbnail", "<data>\n\t\t" + Name(random, 60) + "\n\t\t</data>");
    entry("Version", "<string>7.1.0</string>");
    *xml += "\t</dict>\n";
}

// A list of presets of at least so many bytes; the same at each call.
inline const std::string& PresetsXML(size_t bytes)
{
    static std::map<size_t, std::string> made;
    std::string& xml = made[bytes];
    if (!xml.empty()) return xml;
    std::mt19937 random(1);
    xml =
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
        "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
        "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
        "<plist version=\"1.0\">\n<array>\n";
    for (int i = 0; xml.size() < bytes; ++i) AppendPreset(random, i, &xml);
    xml += "</array>\n</plist>\n";
    return xml;
}

}  // namespace px::bench
