#include "pxtool/CurvePlot.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <vector>

namespace px::tool {

namespace {

constexpr int kGridLines = 3;  // quarters
constexpr double kPointRadius = 4;

struct Colour {
    uint8_t r, g, b;
};
constexpr Colour kPaper = {255, 255, 255};
constexpr Colour kGrid = {225, 225, 225};
constexpr Colour kIdentity = {160, 160, 160};
constexpr Colour kCurve = {20, 20, 20};
constexpr Colour kPoint = {200, 40, 30};

struct Spot {
    double x, y;
};

std::vector<Spot> CurveLine(const PXBezierCurve& curve, double scale)
{
    const std::vector<float> samples = curve.getSamples();
    std::vector<Spot> line;
    for (size_t i = 0; i < samples.size(); ++i)
        line.push_back({static_cast<double>(i) / static_cast<double>(samples.size() - 1) * scale,
                        double{samples[i]} * scale});
    return line;
}

std::vector<Spot> Points(const PXBezierCurve& curve, double scale)
{
    std::vector<Spot> points;
    for (const PXPointF& point : curve.getControlPoints()) {
        // A damaged preset may have points anywhere.
        if (PXBezierCurve::isValidControlPoint(point) && point.x <= 1 && point.y >= 0 &&
            point.y <= 1)
            points.push_back({point.x * scale, point.y * scale});
    }
    return points;
}

std::string Fixed(double value)
{
    char text[64];
    const auto end = std::to_chars(text, text + sizeof(text), value, std::chars_format::fixed, 2);
    return std::string(text, end.ptr);
}

std::string Hex(Colour colour)
{
    constexpr char kDigits[] = "0123456789abcdef";
    std::string text = "#";
    for (const uint8_t part : {colour.r, colour.g, colour.b})
        text += {kDigits[part >> 4], kDigits[part & 15]};
    return text;
}

std::string SVGLine(Spot from, Spot to, Colour colour)
{
    return "<line x1=\"" + Fixed(from.x) + "\" y1=\"" + Fixed(from.y) + "\" x2=\"" + Fixed(to.x) +
           "\" y2=\"" + Fixed(to.y) + "\" stroke=\"" + Hex(colour) + "\"/>\n";
}

double DistanceToSegment(Spot p, Spot a, Spot b)
{
    const double dx = b.x - a.x;
    const double dy = b.y - a.y;
    const double length = dx * dx + dy * dy;
    const double t =
        length > 0 ? std::clamp(((p.x - a.x) * dx + (p.y - a.y) * dy) / length, 0.0, 1.0) : 0.0;
    return std::hypot(p.x - a.x - t * dx, p.y - a.y - t * dy);
}

// Paints shapes on a picture, their edges softened over one pixel.
class Canvas {
public:
    Canvas(const Pixels& pixels, int32_t size) : pixels_(pixels), size_(size)
    {
        for (int32_t y = 0; y < size; ++y)
            for (int32_t x = 0; x < size; ++x) Mix(x, y, kPaper, 1);
    }

    // All within `halfWidth` of the segment.
    void Segment(Spot a, Spot b, double halfWidth, Colour colour)
    {
        const auto first = [&](double v) {
            return static_cast<int32_t>(
                std::clamp(std::floor(v - halfWidth - 1), 0.0, size_ - 1.0));
        };
        const auto last = [&](double v) {
            return static_cast<int32_t>(std::clamp(std::ceil(v + halfWidth + 1), 0.0, size_ - 1.0));
        };
        for (int32_t y = first(std::min(a.y, b.y)); y <= last(std::max(a.y, b.y)); ++y) {
            for (int32_t x = first(std::min(a.x, b.x)); x <= last(std::max(a.x, b.x)); ++x) {
                const double distance = DistanceToSegment({double(x), double(y)}, a, b);
                Mix(x, y, colour, std::clamp(halfWidth + 0.5 - distance, 0.0, 1.0));
            }
        }
    }

private:
    void Mix(int32_t x, int32_t y, Colour colour, double share)
    {
        uint8_t* pixel = pixels_.Row(y) + 3 * x;
        const uint8_t parts[] = {colour.r, colour.g, colour.b};
        for (int c = 0; c < 3; ++c)
            pixel[c] = static_cast<uint8_t>(std::lround(pixel[c] + (parts[c] - pixel[c]) * share));
    }

    Pixels pixels_;
    int32_t size_;
};

}  // namespace

std::string PlotSVG(const PXBezierCurve& curve, int32_t size)
{
    const std::string side = std::to_string(size);
    const double scale = size;
    std::string svg = "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" + side + "\" height=\"" +
                      side + "\" viewBox=\"0 0 " + side + " " + side + "\">\n<rect width=\"" +
                      side + "\" height=\"" + side + "\" fill=\"" + Hex(kPaper) + "\"/>\n";
    for (int i = 1; i <= kGridLines; ++i) {
        const double at = scale * i / (kGridLines + 1);
        svg += SVGLine({at, 0}, {at, scale}, kGrid) + SVGLine({0, at}, {scale, at}, kGrid);
    }
    svg += SVGLine({0, scale}, {scale, 0}, kIdentity);
    svg += "<polyline fill=\"none\" stroke-width=\"2\" stroke=\"" + Hex(kCurve) + "\" points=\"";
    for (const Spot& spot : CurveLine(curve, scale))
        svg += Fixed(spot.x) + "," + Fixed(spot.y) + " ";
    svg += "\"/>\n";
    for (const Spot& spot : Points(curve, scale))
        svg += "<circle cx=\"" + Fixed(spot.x) + "\" cy=\"" + Fixed(spot.y) + "\" r=\"" +
               Fixed(kPointRadius) + "\" fill=\"" + Hex(kPoint) + "\"/>\n";
    return svg + "</svg>\n";
}

Failure PlotPicture(const PXBezierCurve& curve, int32_t size, const std::string& path,
                    Picture* picture)
{
    picture->layout = {size, size, 8, kPXColorSpaceRGB, false};
    if (Failure failure = MakeImage(picture->layout, path, &picture->image)) return failure;
    Canvas canvas(picture->View(), size);
    const double scale = size - 1;
    for (int i = 1; i <= kGridLines; ++i) {
        const double at = scale * i / (kGridLines + 1);
        canvas.Segment({at, 0}, {at, scale}, 0.5, kGrid);
        canvas.Segment({0, at}, {scale, at}, 0.5, kGrid);
    }
    canvas.Segment({0, scale}, {scale, 0}, 0.5, kIdentity);
    const std::vector<Spot> line = CurveLine(curve, scale);
    for (size_t i = 0; i + 1 < line.size(); ++i) canvas.Segment(line[i], line[i + 1], 1, kCurve);
    for (const Spot& spot : Points(curve, scale)) canvas.Segment(spot, spot, kPointRadius, kPoint);
    return Done();
}

}  // namespace px::tool
