#include "torture/Plot.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>

namespace zuvia::test {
namespace {

constexpr double kWidth = 560;  // of one diagram with everything around it
constexpr double kHeight = 300;
constexpr double kTitleHeight = 50;
constexpr double kLeft = 80;
constexpr double kRight = 20;
constexpr double kTop = 50;
constexpr double kBottom = 45;

std::string escaped(const std::string& text) {
  std::string result;
  for (const char character : text) {
    switch (character) {
      case '&':
        result += "&amp;";
        break;
      case '<':
        result += "&lt;";
        break;
      default:
        result += character;
    }
  }
  return result;
}

std::string attribute(const std::string& name, double value) {
  return ' ' + name + "=\"" + numberText(value) + '"';
}

std::string line(double x1, double y1, double x2, double y2, const std::string& style) {
  return "<line" + attribute("x1", x1) + attribute("y1", y1) + attribute("x2", x2) + attribute("y2", y2) + " class=\"" +
         style + "\"/>\n";
}

std::string label(double x, double y, const std::string& style, const std::string& text) {
  return "<text" + attribute("x", x) + attribute("y", y) + " class=\"" + style + "\">" + escaped(text) + "</text>\n";
}

// One series, with the axes that it needs.
class Diagram {
 public:
  Diagram(const Series& series, const std::string& timeUnit, double x, double y)
      : series_(series), timeUnit_(timeUnit), x_(x), y_(y) {
    for (const Point& point : series.points) {
      endOfTime_ = std::max(endOfTime_, point.time);
      endOfValues_ = std::max(endOfValues_, point.value * 1.1);
    }
  }

  std::string draw() const { return drawTimes() + drawValues() + drawLine() + drawTexts(); }

 private:
  double xOf(double time) const { return x_ + kLeft + time / endOfTime_ * (kWidth - kLeft - kRight); }
  double yOf(double value) const { return y_ + kHeight - kBottom - value / endOfValues_ * (kHeight - kTop - kBottom); }

  std::string drawTimes() const {
    std::string svg;
    const double distance = tickDistance(endOfTime_, 6);
    for (int i = 0; i * distance <= endOfTime_; ++i) {
      const double time = i * distance;
      svg += line(xOf(time), yOf(0), xOf(time), yOf(0) + 5, "axis");
      svg += label(xOf(time), yOf(0) + 18, "time", numberText(time));
    }
    const double middle = endOfTime_ / 2;
    return svg + line(xOf(middle), yOf(0), xOf(middle), yOf(endOfValues_), "middle") +
           label(xOf(middle), yOf(0) + 36, "time", timeUnit_);
  }

  std::string drawValues() const {
    std::string svg;
    const double distance = tickDistance(endOfValues_, 5);
    for (int i = 0; i * distance <= endOfValues_; ++i) {
      const double value = i * distance;
      svg += line(xOf(0), yOf(value), xOf(endOfTime_), yOf(value), i == 0 ? "axis" : "grid");
      svg += label(xOf(0) - 8, yOf(value) + 4, "value", numberText(value));
    }
    return svg + line(xOf(0), yOf(0), xOf(0), yOf(endOfValues_), "axis");
  }

  std::string drawLine() const {
    std::string points;
    for (const Point& point : series_.points) {
      points += numberText(xOf(point.time)) + ',' + numberText(yOf(point.value)) + ' ';
    }
    return "<polyline class=\"series\" points=\"" + points + "\"/>\n";
  }

  std::string drawTexts() const {
    const std::string unit = series_.unit.empty() ? "" : ' ' + series_.unit;
    const std::string growth = numberText(growthOfSecondHalf(series_)) + unit;
    const std::string allowed = numberText(series_.allowance) + unit;
    return label(x_ + kLeft, y_ + 22, "name", series_.name + (unit.empty() ? "" : "," + unit)) +
           label(x_ + kLeft, y_ + 40, "growth",
                 "growth over the second half: " + growth + (isFlat(series_) ? ": flat" : ": NOT FLAT") +
                     " (allowed: " + allowed + ')');
  }

  const Series& series_;
  const std::string& timeUnit_;
  const double x_;
  const double y_;
  double endOfTime_ = 1e-9;
  double endOfValues_ = 1e-9;
};

}  // namespace

std::string plot(const std::string& title, const std::vector<Series>& series, const std::string& timeUnit) {
  const auto rows = static_cast<double>((series.size() + 1) / 2);
  std::string svg = "<svg xmlns=\"http://www.w3.org/2000/svg\"" + attribute("width", 2 * kWidth) +
                    attribute("height", kTitleHeight + rows * kHeight) +
                    " font-family=\"sans-serif\" font-size=\"12\">\n"
                    "<style>.axis{stroke:#333}.grid{stroke:#ddd}.middle{stroke:#999;stroke-dasharray:4 4}"
                    ".series{fill:none;stroke:#06c;stroke-width:1.5}.time{text-anchor:middle}.value{text-anchor:end}"
                    ".title{font-size:18px}.name{font-size:14px;font-weight:bold}.growth{fill:#555}</style>\n"
                    "<rect width=\"100%\" height=\"100%\" fill=\"white\"/>\n" +
                    label(kLeft, 32, "title", title);
  for (std::size_t i = 0; i < series.size(); ++i) {
    const double x = i % 2 == 0 ? 0 : kWidth;
    svg += Diagram(series[i], timeUnit, x, kTitleHeight + static_cast<double>(i / 2) * kHeight).draw();
  }
  return svg + "</svg>\n";
}

double tickDistance(double end, int wanted) {
  const double rough = end / wanted;
  const double power = std::pow(10, std::floor(std::log10(rough)));
  for (const double factor : {1.0, 2.0, 5.0}) {
    if (factor * power >= rough * 0.999) return factor * power;
  }
  return 10 * power;
}

std::string numberText(double number) {
  std::array<char, 64> buffer{};
  std::snprintf(buffer.data(), buffer.size(), "%.3f", number);
  std::string text = buffer.data();
  text.erase(text.find_last_not_of('0') + 1);
  if (text.ends_with('.')) text.pop_back();
  return text == "-0" ? "0" : text;
}

}  // namespace zuvia::test
