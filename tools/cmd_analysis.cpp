// Analysis group: histograms with their peak analysis, Hough line detection.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <memory>
#include <numbers>
#include <sstream>
#include <string>
#include <vector>

#include "tools/commands.h"

namespace lumora::cli {
namespace {

const tagVXG3 kWhite{{255, 255, 255}}, kBar{{190, 190, 190}}, kCurve{{200, 70, 20}}, kPeak{{30, 30, 220}},
    kValley{{40, 160, 40}};

CVxHistogramDensity& Record(CPtrArray& array, int k) { return *static_cast<CVxHistogramDensity*>(array[k]); }

// A bar chart of the raw histogram (grey) with the analysed, smoothed curve
// (blue), the valid maxima (red) and their valleys (green). Up to 512 columns;
// wider histograms show the largest bin of each column's share.
CVxImage HistogramPlot(CVxHistogram& hist, CVxHistogramProcessing& proc) {
    const int bins = hist.GetSize(), width = 512, height = 240;
    CVxImage plot(CM_RGB, 8, width, height);
    CVxDrawing draw(&plot);
    draw.SetFill(kWhite, CRect(0, 0, width - 1, height - 1));
    auto first = [&](int x) { return static_cast<int>(static_cast<std::int64_t>(x) * bins / width); };
    auto column = [&](int bin) { return static_cast<int>(static_cast<std::int64_t>(bin) * width / bins); };
    auto largest = [&](HIST_FLAG flag, int x) {
        return hist.GetMaxValue(nullptr, first(x), std::max(first(x + 1), first(x) + 1), flag);
    };
    const int* smoothed = hist.GetBuffer(HIST_SMOOTHED);
    const double top = std::max({1, hist.GetMaxValue(nullptr, 0, bins, HIST_RAW),
                                 smoothed ? hist.GetMaxValue(nullptr, 0, bins, HIST_SMOOTHED) : 0});
    auto level = [&](int value) { return height - 1 - static_cast<int>(std::max(value, 0) / top * (height - 1)); };
    for (int x = 0; x < width; ++x)
        if (hist.GetValue(first(x), HIST_RAW) > 0 || largest(HIST_RAW, x) > 0)
            draw.SetFill(kBar, CRect(x, level(largest(HIST_RAW, x)), x, height - 1));
    auto mark = [&](int bin, tagVXG3 colour) {
        if (bin >= 0) draw.SetFill(colour, CRect(column(bin), 0, column(bin), height - 1));
    };
    CPtrArray& valid = proc.GetValidMaximaArray();
    for (int k = 0; k < valid.GetSize(); ++k) {
        mark(Record(valid, k).m_nPrevPos, kValley);
        mark(Record(valid, k).m_nNextPos, kValley);
        mark(Record(valid, k).m_nPos, kPeak);
    }
    if (smoothed != nullptr)
        for (int x = 0, before = level(largest(HIST_SMOOTHED, 0)); x < width; ++x) {
            const int now = level(largest(HIST_SMOOTHED, x));
            draw.SetFill(kCurve, CRect(x, std::min(before, now), x, std::max(before, now)));
            before = now;
        }
    return plot;
}

std::string DescribeExtremum(int pos, int density) {
    return pos < 0 ? std::string("none") : std::to_string(pos) + " (" + std::to_string(density) + ")";
}

struct HistogramOptions {
    std::string file, smooth, plot, save;
    int channel = 0;
    bool circular = false;
};

void RunHistogram(const HistogramOptions& o) {
    CVxImage image = LoadImageFile(o.file);
    if (image.m_nBitsPerSample > 16)
        throw CliError(o.file, "histograms need 8- or 16-bit samples; this image has float samples");
    if (o.channel >= image.m_nChannel)
        throw CliError("--channel", std::to_string(o.channel) + " is not a channel of " + o.file + " (it has " +
                                        std::to_string(image.m_nChannel) + ")");
    CVxHistogram hist;
    if (!hist.Create(image, o.channel)) throw CliError(o.file, "the histogram could not be counted");
    hist.SetCircularModel(o.circular ? TRUE : FALSE);
    CVxHistogramProcessing proc(&hist);
    if (!o.smooth.empty()) {
        int passes = 0, radius = 0;
        char tail = 0;
        if (std::sscanf(o.smooth.c_str(), "%d ,%d %c", &passes, &radius, &tail) != 2 || radius < 0)
            throw CliError("--smooth", "expected PASSES,RADIUS with RADIUS >= 0, got '" + o.smooth + "'");
        proc.Smooth(passes, HIST_SMOOTHED, radius, -1, -1);
    }
    proc.FindMaximaMinima();

    const int bins = hist.GetSize();
    int maxPos = 0;
    const int maxValue = hist.GetMaxValue(&maxPos, 0, bins, HIST_RAW);
    std::cout << "file: " << o.file << "\nchannel: " << o.channel << " (" << ChannelName(image, o.channel) << ")\n"
              << "bins: " << bins << "\npixels: " << static_cast<long long>(image.m_nWidth) * image.m_nHeight
              << "\nlowest value present: " << hist.GetLowValidPosition(HIST_RAW)
              << "\nhighest value present: " << hist.GetHighValidPosition(HIST_RAW) << "\nlargest bin: " << maxPos
              << " (" << maxValue << ")\nmean count per bin: " << hist.GetMeanValue(0, bins, HIST_RAW)
              << "\nraw maxima: " << proc.GetMaximaArray().GetSize() << "\nvalid maxima: ";
    CPtrArray& valid = proc.GetValidMaximaArray();
    std::cout << valid.GetSize() << '\n';
    for (int k = 0; k < valid.GetSize(); ++k) {
        CVxHistogramDensity& d = Record(valid, k);
        std::cout << "  peak " << DescribeExtremum(d.m_nPos, d.m_nDensity) << ", valley before "
                  << DescribeExtremum(d.m_nPrevPos, d.m_nPrevDensity) << ", valley after "
                  << DescribeExtremum(d.m_nNextPos, d.m_nNextDensity) << '\n';
    }
    if (!o.save.empty()) {
        // SaveHistogram reports nothing, so find out first whether the file can be written.
        if (!std::ofstream(o.save, std::ios::app)) throw CliError(o.save, "cannot be written");
        proc.SaveHistogram(o.save.c_str(), HIST_RAW);
    }
    if (!o.plot.empty()) {
        CVxImage plot = HistogramPlot(hist, proc);
        SaveImageFile(o.plot, plot);
    }
}

// The input as RGB with every pixel of `lines` that is set painted red.
CVxImage Overlay(CVxImage& base, CVxImage& lines) {
    CVxImage out(CM_RGB, 8, base.m_nWidth, base.m_nHeight);
    for (int y = 0; y < base.m_nHeight; ++y) {
        const auto* in = static_cast<const std::uint8_t*>(base.Get2DBuffer()[y]);
        const auto* drawn = static_cast<const std::uint8_t*>(lines.Get2DBuffer()[y]);
        auto* px = static_cast<std::uint8_t*>(out.Get2DBuffer()[y]);
        for (int x = 0; x < base.m_nWidth; ++x, px += 3) {
            for (int c = 0; c < 3; ++c) px[c] = base.m_nChannel == 1 ? in[x] : in[x * base.m_nChannel + c];
            if (drawn[x] != 0) px[0] = 0, px[1] = 0, px[2] = 255;
        }
    }
    return out;
}

struct FoundLine {
    int thetaBin, rhoBin;
    double degrees, rho;
    CPoint from, to;
};

std::vector<FoundLine> Lines(CVxHoughTransform& hough) {
    std::vector<FoundLine> out;
    CPtrArray& records = hough.GetThetaRhoArray();
    for (int k = 0; k < records.GetSize(); ++k) {
        auto& record = *static_cast<ThetaRhoRecord*>(records[k]);
        const double degrees = (hough.GetThetaMin() + record.nTheta * hough.GetThetaStep()) * 180 / std::numbers::pi;
        for (int i = 0; i < record.arrRho.GetSize(); ++i)
            out.push_back({record.nTheta, record.arrRho[i], degrees,
                           record.arrRho[i] * hough.GetRhoStep() - hough.GetRhoMax(), record.arrPoint1[i],
                           record.arrPoint2[i]});
    }
    return out;
}

std::string Fixed(double v) {
    char text[32];
    std::snprintf(text, sizeof text, "%.1f", v);
    return text;
}

std::string Describe(const FoundLine& l) {
    return "theta " + Fixed(l.degrees) + " deg (bin " + std::to_string(l.thetaBin) + "), rho " + Fixed(l.rho) +
           " (bin " + std::to_string(l.rhoBin) + "): (" + std::to_string(l.from.x) + ", " + std::to_string(l.from.y) +
           ") to (" + std::to_string(l.to.x) + ", " + std::to_string(l.to.y) + ")";
}

std::string Json(const std::string& file, const std::vector<FoundLine>& lines) {
    std::ostringstream out;
    std::string name;
    for (char c : file) {
        if (c == '"' || c == '\\') name += '\\';
        name += c;
    }
    out << "{\"file\": \"" << name << "\", \"lines\": [";
    for (size_t k = 0; k < lines.size(); ++k) {
        const FoundLine& l = lines[k];
        out << (k ? ",\n  " : "\n  ") << "{\"theta_bin\": " << l.thetaBin << ", \"theta_degrees\": " << Fixed(l.degrees)
            << ", \"rho_bin\": " << l.rhoBin << ", \"rho\": " << Fixed(l.rho) << ", \"from\": [" << l.from.x << ", "
            << l.from.y << "], \"to\": [" << l.to.x << ", " << l.to.y << "]}";
    }
    out << (lines.empty() ? "" : "\n") << "]}\n";
    return out.str();
}

struct HoughOptions {
    std::string file, lines, accumulator;
    bool json = false;
};

void RunHough(const HoughOptions& o) {
    CVxImage image = LoadImageFile(o.file);
    if (image.m_nChannel != 1 || image.m_nBitsPerSample > 8)
        throw CliError(o.file, "Hough voting needs an 8-bit one-channel image, such as a thresholded edge image");
    CVxHoughTransform hough(&image);
    CVxImage drawn;
    if (!hough.Direct() || !hough.DetectLine(drawn)) throw CliError(o.file, "the Hough transform refused the image");
    const std::vector<FoundLine> found = Lines(hough);
    if (o.json) {
        std::cout << Json(o.file, found);
    } else {
        std::cout << "lines: " << found.size() << '\n';
        for (const FoundLine& l : found) std::cout << "  " << Describe(l) << '\n';
    }
    if (!o.lines.empty()) {
        CVxImage overlay = Overlay(image, drawn);
        SaveImageFile(o.lines, overlay);
    }
    if (!o.accumulator.empty()) {
        CVxImage picture;
        if (!hough.GetDisplayImage(picture)) throw CliError(o.file, "the accumulator could not be drawn");
        SaveImageFile(o.accumulator, picture);
    }
}

}  // namespace

void RegisterAnalysisCommands(CLI::App& app) {
    auto h = std::make_shared<HistogramOptions>();
    auto* histCmd = app.add_subcommand(
        "histogram", "Count one channel, find the valid maxima (dominant peaks) and their valleys, print them");
    histCmd->add_option("FILE", h->file, "Image file with 8- or 16-bit samples")->required();
    histCmd->add_option("--channel", h->channel, "Channel to count (0 = first in memory order: blue for RGB)")
        ->check(CLI::NonNegativeNumber);
    histCmd->add_option("--smooth", h->smooth, "PASSES,RADIUS of the moving average before the analysis (default 1,2)");
    histCmd->add_flag("--circular", h->circular, "The bins form a ring (hue-like values)");
    histCmd->add_option("--plot", h->plot, "Write a plot: raw bars, smoothed curve, peaks red, valleys green");
    histCmd->add_option("--save", h->save, "Write the raw bins as text, one count a line");
    histCmd->callback([h] { RunHistogram(*h); });

    auto o = std::make_shared<HoughOptions>();
    auto* houghCmd = app.add_subcommand("hough", "Detect straight lines in an 8-bit edge image by the Hough transform");
    houghCmd->add_option("FILE", o->file, "8-bit one-channel image; non-zero pixels vote with their value")->required();
    houghCmd->add_option("--lines", o->lines, "Write the input with the detected lines drawn in red");
    houghCmd->add_option("--accumulator", o->accumulator, "Write the accumulator (rho across, theta down) as a picture");
    houghCmd->add_flag("--json", o->json, "Print the lines as JSON");
    houghCmd->callback([o] { RunHough(*o); });
}

void DemoAnalysis(CVxImage& scene, DemoSink& sink) {
    CVxLumoraBase base(&scene);
    CVxImage green;
    if (!base.GetPlane(1, green)) {
        sink.Note("analysis: GetPlane(1) refused the scene");
        return;
    }
    CVxHistogram hist(green, 0);
    CVxHistogramProcessing proc(&hist);
    proc.FindMaximaMinima();
    CVxImage plot = HistogramPlot(hist, proc);
    std::string peaks;
    for (int k = 0; k < proc.GetValidMaximaArray().GetSize(); ++k)
        peaks += (k ? ", " : "") + std::to_string(Record(proc.GetValidMaximaArray(), k).m_nPos);
    sink.Save("analysis_histogram", plot, "histogram of the green channel; valid maxima at " + peaks);

    // Edges, a threshold, then the lines.
    CVxEdgeDetection edges(&green);
    CVxImage response, binary, drawn;
    CVxThresholdProcessing threshold(&response);
    if (!edges.Laplacian3(response) || !threshold.Threshold(binary, 40)) {
        sink.Note("analysis: the edge image could not be made");
        return;
    }
    sink.Save("analysis_edges", binary, "Laplacian3 of the green channel, threshold 40: the Hough input");
    CVxHoughTransform hough(&binary);
    if (!hough.Direct() || !hough.DetectLine(drawn)) {
        sink.Note("analysis: the Hough transform refused the edge image");
        return;
    }
    CVxImage accumulator;
    if (hough.GetDisplayImage(accumulator))
        sink.Save("analysis_accumulator", accumulator, "the Hough accumulator: rho across, theta (-90..90) down");
    CVxImage overlay = Overlay(scene, drawn);
    const std::vector<FoundLine> found = Lines(hough);
    sink.Save("analysis_lines", overlay, "DetectLine: " + std::to_string(found.size()) + " lines drawn in red");
    for (const FoundLine& l : found) sink.Note("analysis: " + Describe(l));
}

}  // namespace lumora::cli
