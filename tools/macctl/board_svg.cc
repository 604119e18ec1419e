// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// The map as SVG: a bar to scale for each medium, labels in rows below it, and a line
// from each label to its place.
#include <fmt/format.h>

#include <algorithm>
#include <map>

#include "tools/macctl/board_map.h"

namespace macctl {

namespace {

constexpr double kWidth = 1000;
constexpr double kLeft = 20;
constexpr double kBarWidth = kWidth - 2 * kLeft;
constexpr double kBarHeight = 34;
constexpr double kTitle = 38;       // room above a bar
constexpr double kRow = 19;         // height of a row of labels
constexpr double kCharacter = 7.1;  // width of one in a label, about
constexpr double kThinnest = 4;     // a record that is narrower is drawn so wide
constexpr double kGap = 5;          // between a line and its label
constexpr size_t kGridMost = 128;   // finer grids would be a grey area

const char* const kFills[] = {"#2b6cb0", "#dd8a1f", "#2f8f5b"};
constexpr char kBad[] = "#d62828";

std::string escape(const std::string& text) {
    std::string result;
    for (const char character : text) {
        switch (character) {
            case '&':
                result += "&amp;";
                break;
            case '<':
                result += "&lt;";
                break;
            case '>':
                result += "&gt;";
                break;
            case '"':
                result += "&quot;";
                break;
            default:
                result += character;
        }
    }
    return result;
}

struct Label {
    std::string text;
    double anchor;  // where its place is drawn
    double x;
    size_t row;
    const Place* place;
};

class Drawing {
public:
    explicit Drawing(const MediumMap& map, double top) : map_(map), top_(top) { place_labels(); }

    double height() const {
        return kTitle + kBarHeight + 14 +
               kRow * static_cast<double>(rows_ + map_.variables.size()) + 26;
    }

    std::string svg() const {
        std::string text = fmt::format(
            "<text x=\"{}\" y=\"{}\" class=\"title\">{} <tspan class=\"small\">{}, {} bytes, {} {} "
            "bytes</tspan></text>\n",
            kLeft, top_ + 18, escape(map_.name), escape(map_.image), map_.size, map_.step_name,
            map_.step);
        text += fmt::format("<rect x=\"{}\" y=\"{}\" width=\"{}\" height=\"{}\" class=\"bar\"/>\n",
                            kLeft, bar_top(), kBarWidth, kBarHeight);
        text += grid();
        for (const Label& label : labels_) text += record(label);
        for (const Label& label : labels_) text += words(label);
        return text + variables();
    }

private:
    double bar_top() const { return top_ + kTitle; }
    double x_of(u64 byte) const {
        return kLeft + kBarWidth * static_cast<double>(std::min(byte, map_.size)) /
                           static_cast<double>(map_.size);
    }

    // From right to left: a label that finds no room in the row of a later one goes
    // below it, and its line then passes that one on the left.
    void place_labels() {
        // Where the first label of a row begins, of rows above which no later row has one that
        // begins further left: in the order of the rows, and so of their places.
        std::map<double, size_t> fronts;
        for (auto place = map_.places.rbegin(); place != map_.places.rend(); ++place) {
            Label label{fmt::format("{} 0x{:x}", place->label, place->range.start),
                        (x_of(place->range.start) + x_of(place->range.end)) / 2, 0, 0, &*place};
            const double width = kCharacter * static_cast<double>(label.text.size());
            label.x = label.anchor + kGap;
            if (label.x + width > kLeft + kBarWidth) label.x = label.anchor - kGap - width;
            // The lines of the labels below pass through this row as well: it goes below the
            // last row that is in its way.
            const auto free = fronts.lower_bound(label.x + width + kGap);
            label.row = free == fronts.begin() ? 0 : std::prev(free)->second + 1;
            const auto same_row =
                free != fronts.end() && free->second == label.row ? std::next(free) : free;
            fronts.erase(fronts.lower_bound(label.x), same_row);
            fronts[label.x] = label.row;
            rows_ = std::max(rows_, label.row + 1);
            labels_.push_back(std::move(label));
        }
    }

    std::string grid() const {
        std::string text;
        const u64 steps = map_.size / map_.step;
        for (u64 i = 1; i < steps && steps <= kGridMost; ++i) {
            const double x = x_of(i * map_.step);
            text += fmt::format(
                "<line x1=\"{0:.1f}\" y1=\"{1}\" x2=\"{0:.1f}\" y2=\"{2}\" class=\"grid\"/>\n", x,
                bar_top(), bar_top() + kBarHeight);
        }
        text += fmt::format("<text x=\"{}\" y=\"{}\" class=\"scale\">0x0</text>\n", kLeft,
                            bar_top() - 3);
        text += fmt::format("<text x=\"{}\" y=\"{}\" class=\"scale end\">0x{:x}</text>\n",
                            kLeft + kBarWidth, bar_top() - 3, map_.size);
        return text;
    }

    std::string record(const Label& label) const {
        const Place& place = *label.place;
        const double start = x_of(place.range.start);
        const double width = std::max(kThinnest, x_of(place.range.end) - start);
        return fmt::format(
            "<rect x=\"{:.1f}\" y=\"{}\" width=\"{:.1f}\" height=\"{}\" fill=\"{}\"{}><title>{}: "
            "0x{:x} to 0x{:x}, {}</title></rect>\n",
            start, bar_top() + 1, width, kBarHeight - 2, place.overlaps ? kBad : kFills[place.area],
            place.overlaps ? " fill-opacity=\"0.7\"" : "", escape(place.label), place.range.start,
            place.range.end - 1, escape(place.driver));
    }

    std::string words(const Label& label) const {
        const Place& place = *label.place;
        const double y =
            bar_top() + kBarHeight + 14 + kRow * (static_cast<double>(label.row) + 0.7);
        const char* const colour = place.overlaps ? kBad : kFills[place.area];
        return fmt::format(
            "<line x1=\"{0:.1f}\" y1=\"{1}\" x2=\"{0:.1f}\" y2=\"{2:.1f}\" class=\"lead\" "
            "stroke=\"{3}\"/>\n"
            "<text x=\"{4:.1f}\" y=\"{2:.1f}\" class=\"label\" fill=\"{3}\">{5}</text>\n",
            label.anchor, bar_top() + kBarHeight, y, colour, label.x, escape(label.text));
    }

    std::string variables() const {
        std::string text;
        double y = bar_top() + kBarHeight + 14 + kRow * (static_cast<double>(rows_) + 0.7);
        for (const std::string& variable : map_.variables) {
            text += fmt::format("<text x=\"{}\" y=\"{:.1f}\" class=\"label\">{}</text>\n", kLeft, y,
                                escape(variable));
            y += kRow;
        }
        return text;
    }

    const MediumMap& map_;
    double top_;
    std::vector<Label> labels_;
    size_t rows_ = 0;
};

std::string legend(double y) {
    struct Row {
        const char* colour;
        const char* words;
    };
    const Row rows[] = {{kFills[0], "main"},
                        {kFills[1], "spare"},
                        {kFills[2], "environment"},
                        {kBad, "overlap, or past the end"}};
    std::string text;
    double x = kLeft;
    for (const Row& row : rows) {
        text += fmt::format(
            "<rect x=\"{}\" y=\"{}\" width=\"14\" height=\"14\" fill=\"{}\"/>\n"
            "<text x=\"{}\" y=\"{}\" class=\"label\">{}</text>\n",
            x, y, row.colour, x + 20, y + 12, row.words);
        x += 52 + kCharacter * static_cast<double>(std::string(row.words).size());
    }
    return text + fmt::format(
                      "<text x=\"{}\" y=\"{}\" class=\"small\">bars are to scale (a record at "
                      "least {} wide); lines: erase blocks and pages</text>\n",
                      x, y + 12, kThinnest);
}

}  // namespace

std::string map_svg(const std::string& board, const std::vector<MediumMap>& media) {
    double y = 84;
    std::string body;
    for (const MediumMap& map : media) {
        const Drawing drawing(map, y);
        body += drawing.svg();
        y += drawing.height();
    }
    return fmt::format(
               "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 {0} {1:.0f}\" "
               "width=\"{0}\" "
               "height=\"{1:.0f}\" font-family=\"DejaVu Sans, Verdana, sans-serif\">\n"
               "<style>.title{{font-size:15px;font-weight:bold}}.small{{font-size:11px;font-weight:"
               "normal;fill:#555}}.label{{font-size:12px}}.scale{{font-size:10px;fill:#777}}"
               ".end{{text-anchor:end}}.bar{{fill:#f4f4f4;stroke:#444}}.grid{{stroke:#c4c4c4;"
               "stroke-width:0.7}}.lead{{fill:none;stroke-width:1}}.head{{font-size:19px;"
               "font-weight:bold}}</style>\n"
               "<rect width=\"100%\" height=\"100%\" fill=\"white\"/>\n"
               "<text x=\"{2}\" y=\"30\" class=\"head\">{3}</text>\n",
               kWidth, y + 10, kLeft, escape(board)) +
           legend(46) + body + "</svg>\n";
}

}  // namespace macctl
