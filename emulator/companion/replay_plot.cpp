// Drawing a replay as SVG. It has to be readable on paper without colors: lines differ in their dashes and carry their
// names, and queues have a strip each.
#include "companion/replay_plot.h"

#include "companion/database.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <map>
#include <numeric>
#include <sstream>

using namespace dataplane;

size_t ReplayPlot::slice_at(int64_t time) {
    if (!has_begun_) begin_ = time;
    has_begun_ = true;
    while ((time - begin_) / width_ >= static_cast<int64_t>(most_slices))
        halve();
    return static_cast<size_t>((time - begin_) / width_);
}

// Twice as long slices, half as many.
void ReplayPlot::halve() {
    width_ *= 2;
    for (Series& series : series_) {
        std::vector<Slice>& slices = series.slices;
        const size_t half = (slices.size() + 1) / 2;
        for (size_t i = 0; i < half; ++i) {
            Slice merged = slices[2 * i];
            if (2 * i + 1 < slices.size()) {
                const Slice& other = slices[2 * i + 1];
                merged.bits += other.bits;
                merged.fill = std::max(merged.fill, other.fill);
                merged.joined += other.joined;
                merged.lost += other.lost;
            }
            slices[i] = merged;
        }
        slices.resize(half);
    }
}

void ReplayPlot::add(const QueueEvent& event) {
    const size_t place = slice_at(event.time);
    if (series_.size() <= event.queue) series_.resize(event.queue + size_t{1});
    Series& series = series_[event.queue];
    // Until now the fill was as it had been.
    while (series.slices.size() <= place)
        series.slices.emplace_back().fill = series.fill;
    Slice& slice = series.slices[place];
    series.fill = event.fill;
    slice.fill = std::max(slice.fill, event.fill);
    switch (event.kind) {
    case QueueEvent::Kind::joined: ++slice.joined; break;
    case QueueEvent::Kind::left: slice.bits += uint64_t{counted_bytes(event.length, false)} * 8; break;
    case QueueEvent::Kind::lost: ++slice.lost; break;
    }
}

namespace {

constexpr double second = 1e9;

// A number as it stands in a picture: short, and the same on every machine.
std::string number(double value) {
    char text[32];
    std::snprintf(text, sizeof text, "%.1f", value);
    std::string shown = text;
    if (shown.ends_with(".0")) shown.resize(shown.size() - 2);
    return shown == "-0" ? "0" : shown;
}

std::string escaped(const std::string& text) {
    std::string shown;
    for (const char letter : text)
        switch (letter) {
        case '&': shown += "&amp;"; break;
        case '<': shown += "&lt;"; break;
        case '>': shown += "&gt;"; break;
        case '"': shown += "&quot;"; break;
        default: shown += static_cast<unsigned char>(letter) < 0x20 ? ' ' : letter;
        }
    return shown;
}

// The steps of an axis up to `highest`: 1, 2 or 5 times a power of ten, some `count` of them.
double step_of(double highest, double count) {
    if (highest <= 0) return 1;
    const double rough = highest / count;
    const double power = std::pow(10, std::floor(std::log10(rough)));
    for (const double factor : {1.0, 2.0, 5.0})
        if (rough <= factor * power) return factor * power;
    return 10 * power;
}

// "0.25", with as many places as the step needs.
std::string tick_text(double value, double step) {
    const int places = step >= 1 ? 0 : static_cast<int>(std::ceil(-std::log10(step) - 1e-9));
    char text[32];
    std::snprintf(text, sizeof text, "%.*f", places, value);
    return text;
}

struct Style {
    const char* color;
    const char* dash;
    double width;
};
// Dark enough for paper, apart for the color-blind, and told apart by their dashes alone.
constexpr Style styles[] = {{"#0b3c5d", "none", 2.2},    {"#b3400a", "7 3", 2.0},  {"#1b7a4b", "2 2.5", 2.2},
                            {"#6a3d9a", "9 3 2 3", 2.0}, {"#555555", "none", 1.0}, {"#9a6b00", "4 2 1 2 1 2", 2.0},
                            {"#0077aa", "14 4", 1.6},    {"#aa3377", "1.5 4", 2.6}};

struct Box {
    double x;
    double y;
    double width;
    double height;
};

constexpr double picture_width = 960;
constexpr double left = 118;
constexpr double right = 110;
constexpr double plot_width = picture_width - left - right;

} // namespace

class Drawing {
public:
    Drawing(const ReplayPlot& of, const ReplayTotals& with, const Egress& behind)
        : plot_(of), totals_(with), egress_(behind) {
        seconds_ = std::max(static_cast<double>(totals_.end - plot_.begin_) / second, 1e-6);
        for (uint32_t place = 0; place < plot_.series_.size(); ++place)
            if (!plot_.series_[place].slices.empty()) queues_.push_back(place);
        std::sort(queues_.begin(), queues_.end(),
                  [this](uint32_t one, uint32_t other) { return key(one) < key(other); });
    }

    std::string draw() {
        double y = 50;
        draw_ports({left, y, plot_width, 190});
        y += 190 + 58;
        y = draw_queues(y);
        draw_time_axis(y);
        y = draw_mark_texts(y + 44);
        return frame(y + 12);
    }

private:
    static constexpr size_t most_queues = 16;
    static constexpr double strip_height = 46;
    static constexpr double strip_gap = 12;

    std::tuple<int32_t, bool, uint16_t, uint8_t> key(uint32_t place) const {
        const QueueName& name = egress_.queues()[place].name;
        return {name.port, name.is_best_effort, name.stream_index, name.traffic_class};
    }

    double x_of(double time) const { return left + plot_width * std::clamp(time / seconds_, 0.0, 1.0); }
    double slice_seconds() const { return static_cast<double>(plot_.width_) / second; }

    // Mbit/s in each slice. The last one may be shorter than the others; where it is too short to tell, it is left out.
    std::vector<double> rates(const std::vector<uint64_t>& bits) const {
        std::vector<double> found;
        for (size_t i = 0; i < bits.size(); ++i) {
            const double span = std::min(slice_seconds(), seconds_ - static_cast<double>(i) * slice_seconds());
            if (span > slice_seconds() / 4) found.push_back(static_cast<double>(bits[i]) / span / 1e6);
        }
        return found;
    }

    std::vector<uint64_t> bits_of(uint32_t place) const {
        std::vector<uint64_t> bits(slice_count());
        const std::vector<ReplayPlot::Slice>& slices = plot_.series_[place].slices;
        for (size_t i = 0; i < slices.size() && i < bits.size(); ++i)
            bits[i] = slices[i].bits;
        return bits;
    }

    size_t slice_count() const {
        return static_cast<size_t>(static_cast<double>(totals_.end - plot_.begin_) /
                                   static_cast<double>(plot_.width_)) +
               1;
    }

    // --- Pieces ---

    void text(double x, double y, const std::string& what, const char* anchor, const char* more = "") {
        out_ << "<text x=\"" << number(x) << "\" y=\"" << number(y) << "\" text-anchor=\"" << anchor << "\"" << more
             << ">" << escaped(what) << "</text>\n";
    }

    void line(double x1, double y1, double x2, double y2, const char* stroke, const char* more = "") {
        out_ << "<line x1=\"" << number(x1) << "\" y1=\"" << number(y1) << "\" x2=\"" << number(x2) << "\" y2=\""
             << number(y2) << "\" stroke=\"" << stroke << "\"" << more << "/>\n";
    }

    // The values as a curve, each in the middle of its slice.
    std::string curve(const std::vector<double>& values, double highest, const Box& box) const {
        std::string points;
        for (size_t i = 0; i < values.size(); ++i) {
            const double from = static_cast<double>(i) * slice_seconds();
            const double middle = (from + std::min(from + slice_seconds(), seconds_)) / 2;
            points += (i == 0 ? "M" : "L") + number(x_of(middle)) + " " +
                      number(box.y + box.height * (1 - std::min(values[i] / highest, 1.0)));
        }
        return points;
    }

    void path(const std::string& points, const Style& style) {
        out_ << "<path d=\"" << points << "\" fill=\"none\" stroke=\"" << style.color << "\" stroke-width=\""
             << number(style.width) << "\" stroke-dasharray=\"" << style.dash << "\" stroke-linejoin=\"round\"/>\n";
    }

    void draw_marks(const Box& box) {
        for (const ReplayPlot::Mark& mark : plot_.marks_) {
            const double x = x_of(static_cast<double>(mark.time - plot_.begin_) / second);
            line(x, box.y - 4, x, box.y + box.height, "#000", " stroke-width=\"0.7\" stroke-dasharray=\"1 3\"");
        }
    }

    // --- The ports ---

    struct PortCurve {
        std::string name;
        std::vector<double> rates;
        double mean = 0;
        double label_y = 0;
    };

    std::vector<PortCurve> port_curves() const {
        std::map<int32_t, std::vector<uint64_t>> bits;
        for (const uint32_t place : queues_) {
            std::vector<uint64_t>& sum = bits[egress_.queues()[place].name.port];
            sum.resize(slice_count());
            const std::vector<uint64_t> more = bits_of(place);
            std::transform(sum.begin(), sum.end(), more.begin(), sum.begin(), std::plus<>());
        }
        std::vector<PortCurve> curves;
        for (const auto& [port, of_port] : bits) {
            const auto all = static_cast<double>(std::accumulate(of_port.begin(), of_port.end(), uint64_t{0}));
            curves.push_back({"port " + std::to_string(port), rates(of_port), all / seconds_ / 1e6, 0});
        }
        std::stable_sort(curves.begin(), curves.end(),
                         [](const PortCurve& one, const PortCurve& other) { return one.mean > other.mean; });
        if (curves.size() > std::size(styles)) curves.resize(std::size(styles));
        return curves;
    }

    // Names stand beside the ends of their curves, and not on each other.
    static void place_labels(std::vector<PortCurve>& curves, double highest, const Box& box) {
        constexpr double line_height = 27;
        for (PortCurve& curve : curves) {
            const size_t tail = std::min<size_t>(curve.rates.size(), 12);
            const double end =
                std::accumulate(curve.rates.end() - static_cast<ptrdiff_t>(tail), curve.rates.end(), 0.0) /
                static_cast<double>(std::max<size_t>(tail, 1));
            curve.label_y = box.y + box.height * (1 - std::min(end / highest, 1.0));
        }
        std::vector<PortCurve*> sorted;
        sorted.reserve(curves.size());
        for (PortCurve& curve : curves)
            sorted.push_back(&curve);
        std::stable_sort(sorted.begin(), sorted.end(),
                         [](const PortCurve* one, const PortCurve* other) { return one->label_y < other->label_y; });
        double lowest = box.y + box.height;
        for (size_t i = sorted.size(); i-- > 0;) {
            sorted[i]->label_y = std::min(sorted[i]->label_y, lowest);
            lowest -= line_height;
        }
        double top = box.y + 4;
        for (size_t i = 0; i < sorted.size(); ++i) {
            sorted[i]->label_y = std::max(sorted[i]->label_y, top);
            top = sorted[i]->label_y + line_height;
        }
    }

    void draw_rate_axis(const Box& box, double highest, double step) {
        for (int i = 0; i * step <= highest + step / 2; ++i) {
            const double value = i * step;
            const double y = box.y + box.height * (1 - value / highest);
            line(box.x, y, box.x + box.width, y, value == 0 ? "#000" : "#ddd");
            text(box.x - 8, y + 4, tick_text(value, step), "end");
        }
    }

    void draw_ports(const Box& box) {
        std::vector<PortCurve> curves = port_curves();
        double peak = 0;
        for (const PortCurve& curve : curves)
            for (const double rate : curve.rates)
                peak = std::max(peak, rate);
        const double step = step_of(peak, 5);
        const double highest = std::max(step, std::ceil(peak / step - 1e-9) * step);
        text(left, box.y - 24, "Sent by port, Mbit/s (frames with FCS)", "start", " class=\"heading\"");
        draw_rate_axis(box, highest, step);
        draw_marks(box);
        draw_mark_numbers(box.y - 6);
        place_labels(curves, highest, box);
        for (size_t i = curves.size(); i-- > 0;) {
            path(curve(curves[i].rates, highest, box), styles[i]);
            const double x = left + plot_width + 6;
            line(x, curves[i].label_y - 4, x + 26, curves[i].label_y - 4, styles[i].color,
                 (" stroke-width=\"" + number(styles[i].width) + "\" stroke-dasharray=\"" + styles[i].dash + "\"")
                     .c_str());
            text(x + 32, curves[i].label_y, curves[i].name, "start");
            text(x + 32, curves[i].label_y + 12, "mean " + tick_text(curves[i].mean, 0.1), "start", " class=\"small\"");
        }
        draw_times(box.y + box.height);
    }

    // --- The queues ---

    double draw_queues(double y) {
        if (queues_.empty()) return y;
        std::vector<uint32_t> shown = queues_;
        if (shown.size() > most_queues) shown.resize(most_queues);
        double peak = 0;
        for (const uint32_t place : shown)
            for (const double rate : rates(bits_of(place)))
                peak = std::max(peak, rate);
        const double step = step_of(peak, 4);
        const double highest = std::max(step, std::ceil(peak / step - 1e-9) * step);
        draw_legend(y - 18, highest);
        for (const uint32_t place : shown) {
            draw_strip(place, {left, y, plot_width, strip_height}, highest);
            y += strip_height + strip_gap;
        }
        if (queues_.size() > shown.size()) {
            text(left, y + 4, std::to_string(queues_.size() - shown.size()) + " more queues are not shown", "start",
                 " class=\"small\"");
            y += 14;
        }
        return y - strip_gap;
    }

    void draw_legend(double y, double highest) {
        text(left, y, "Queues", "start", " class=\"heading\"");
        double x = left + 66;
        out_ << "<rect x=\"" << number(x) << "\" y=\"" << number(y - 9)
             << "\" width=\"22\" height=\"10\" fill=\"#c9d3dc\" stroke=\"#7d8b97\" stroke-width=\"0.6\"/>\n";
        text(x + 28, y, "fill, of its length", "start", " class=\"small\"");
        x += 140;
        line(x, y - 4, x + 22, y - 4, "#000", " stroke-width=\"1.4\"");
        text(x + 28, y, "rate, 0 to " + number(highest) + " Mbit/s", "start", " class=\"small\"");
        x += 170;
        for (int i = 0; i < 4; ++i)
            line(x + 5 * i, y - 9, x + 5 * i, y + 1, "#b00020", " stroke-width=\"1.6\"");
        text(x + 24, y, "drops: the taller, the more of what came", "start", " class=\"small\"");
    }

    std::string area(const std::vector<ReplayPlot::Slice>& slices, uint32_t length, const Box& box) const {
        std::string points = "M" + number(box.x) + " " + number(box.y + box.height);
        for (size_t i = 0; i < slice_count(); ++i) {
            const uint32_t fill = i < slices.size() ? slices[i].fill : 0;
            const double share = length == 0 ? 0 : std::min(1.0, static_cast<double>(fill) / length);
            const double y = box.y + box.height * (1 - share);
            const double from = static_cast<double>(i) * slice_seconds();
            points += "L" + number(x_of(from)) + " " + number(y) + "L" + number(x_of(from + slice_seconds())) + " " +
                      number(y);
        }
        return points + "L" + number(box.x + box.width) + " " + number(box.y + box.height) + "Z";
    }

    void draw_drops(const std::vector<ReplayPlot::Slice>& slices, const Box& box) {
        constexpr double tallest = 16;
        const double width = std::max(1.0, plot_width * slice_seconds() / seconds_ * 0.8);
        for (size_t i = 0; i < slices.size(); ++i) {
            if (slices[i].lost == 0) continue;
            const double share = static_cast<double>(slices[i].lost) / (slices[i].lost + slices[i].joined);
            const double x = x_of((static_cast<double>(i) + 0.5) * slice_seconds());
            line(x, box.y, x, box.y + 4 + (tallest - 4) * share, "#b00020",
                 (" stroke-width=\"" + number(width) + "\"").c_str());
        }
    }

    void draw_strip(uint32_t place, const Box& box, double highest) {
        const QueueView& view = egress_.queues()[place];
        const std::vector<ReplayPlot::Slice>& slices = plot_.series_[place].slices;
        out_ << "<path d=\"" << area(slices, view.length, box)
             << "\" fill=\"#c9d3dc\" stroke=\"#7d8b97\" stroke-width=\"0.6\"/>\n";
        draw_drops(slices, box);
        line(box.x, box.y, box.x + box.width, box.y, "#bbb", " stroke-width=\"0.6\"");
        line(box.x, box.y + box.height, box.x + box.width, box.y + box.height, "#000");
        draw_marks(box);
        path(curve(rates(bits_of(place)), highest, box), {"#000", "none", 1.4});
        const std::string name =
            view.name.is_best_effort ? "port " + std::to_string(view.name.port) : text_of(view.name);
        text(box.x - 8, box.y + 14, name, "end", " font-weight=\"bold\"");
        text(box.x - 8, box.y + 28, view.name.is_best_effort ? "best effort" : number(view.length / 1024.0) + " KiB",
             "end", " class=\"small\"");
        const double x = box.x + box.width + 6;
        const uint64_t bits = (view.sent.bytes + 4 * view.sent.frames) * 8;
        text(x, box.y + 8, "mean " + tick_text(static_cast<double>(bits) / seconds_ / 1e6, 0.1) + " Mbit/s", "start",
             " class=\"small\"");
        uint64_t lost = 0;
        for (const ReplayPlot::Slice& slice : slices)
            lost += slice.lost;
        text(x, box.y + 23, std::to_string(view.sent.frames) + " sent", "start", " class=\"small\"");
        if (lost != 0) text(x, box.y + 38, std::to_string(lost) + " dropped", "start", " class=\"small drop\"");
    }

    // --- Time ---

    void draw_times(double y) {
        const double step = step_of(seconds_, 8);
        for (int i = 0; i * step <= seconds_ + step * 1e-6; ++i) {
            const double value = i * step;
            line(x_of(value), y, x_of(value), y + 5, "#000");
            text(x_of(value), y + 18, tick_text(value, step), "middle");
        }
    }

    void draw_time_axis(double y) {
        if (!queues_.empty()) draw_times(y);
        text(left + plot_width, y + 34, "seconds", "end");
    }

    void draw_mark_numbers(double y) {
        for (size_t i = 0; i < plot_.marks_.size(); ++i)
            text(x_of(static_cast<double>(plot_.marks_[i].time - plot_.begin_) / second), y, std::to_string(i + 1),
                 "middle", " class=\"small\"");
    }

    double draw_mark_texts(double y) {
        constexpr size_t most_texts = 20;
        for (size_t i = 0; i < plot_.marks_.size() && i < most_texts; ++i) {
            text(left, y,
                 std::to_string(i + 1) + ": at " +
                     tick_text(static_cast<double>(plot_.marks_[i].time - plot_.begin_) / second, 0.001) + " " +
                     plot_.marks_[i].text,
                 "start", " class=\"small\"");
            y += 16;
        }
        return y;
    }

    std::string frame(double height) const {
        const std::string size = "width=\"" + number(picture_width) + "\" height=\"" + number(height) + "\"";
        return "<svg xmlns=\"http://www.w3.org/2000/svg\" " + size + " viewBox=\"0 0 " + number(picture_width) + " " +
               number(height) +
               "\" font-family=\"Helvetica, Arial, 'Liberation Sans', 'DejaVu Sans', sans-serif\" font-size=\"12\">\n"
               "<style>.heading{font-weight:bold;font-size:13px}.small{font-size:11px;fill:#333}"
               ".drop{fill:#b00020;font-weight:bold}</style>\n"
               "<rect width=\"100%\" height=\"100%\" fill=\"#fff\"/>\n" +
               out_.str() + "</svg>\n";
    }

    const ReplayPlot& plot_;
    const ReplayTotals& totals_;
    const Egress& egress_;
    double seconds_ = 1;
    std::vector<uint32_t> queues_; // that have something to show, by name
    std::ostringstream out_;
};

void ReplayPlot::write(const std::string& file, const ReplayTotals& totals, const Egress& egress) const {
    std::ofstream out(file, std::ios::binary);
    out << Drawing(*this, totals, egress).draw();
    out.close();
    if (!out) throw Failure(file + ": cannot be written");
}
