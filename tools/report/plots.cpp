#include "plots.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdint>
#include <unordered_set>

#include "stats.h"

namespace report {

namespace {

constexpr const char* kFont = "Helvetica, Arial, sans-serif";
constexpr const char* kColours[2] = {"#1f4e79", "#5b9bd5"};
constexpr const char* kGenomeWideColour = "#c0392b";
constexpr const char* kSuggestiveColour = "#2e86c1";
constexpr const char* kMinusLog10P = "&#8722;log&#8321;&#8320;(p)";
constexpr double kMarkRadius = 2.4;
constexpr double kTickLabelRoom = 22.0;  // pixels between chromosome names on one row
constexpr long long kLabelRegion = 1000000;  // base pairs around a labelled signal that get no second label

std::string num(double v) { return formatted("%.1f", v); }

// Plain SVG writer: a canvas with a plot area and linear scales.
struct Canvas {
  double W, H, left, right, top, bottom;
  std::string out;

  Canvas(double w, double h, double l, double r, double t, double b)
      : W(w), H(h), left(l), right(r), top(t), bottom(b) {
    out += "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
    out += "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" + num(W) + "\" height=\"" + num(H) +
           "\" viewBox=\"0 0 " + num(W) + " " + num(H) + "\" font-family=\"" + kFont + "\">\n";
    out += "<rect x=\"0\" y=\"0\" width=\"" + num(W) + "\" height=\"" + num(H) + "\" fill=\"white\"/>\n";
  }
  double x0() const { return left; }
  double x1() const { return W - right; }
  double y0() const { return H - bottom; }
  double y1() const { return top; }

  void line(double xa, double ya, double xb, double yb, const std::string& style) {
    out += "<line x1=\"" + num(xa) + "\" y1=\"" + num(ya) + "\" x2=\"" + num(xb) + "\" y2=\"" + num(yb) + "\" " +
           style + "/>\n";
  }
  void text(double x, double y, const std::string& s, const std::string& attrs) {
    out += "<text x=\"" + num(x) + "\" y=\"" + num(y) + "\" " + attrs + ">" + s + "</text>\n";
  }
  void frame() {
    out += "<rect x=\"" + num(x0()) + "\" y=\"" + num(y1()) + "\" width=\"" + num(x1() - x0()) + "\" height=\"" +
           num(y0() - y1()) + "\" fill=\"none\" stroke=\"#333\" stroke-width=\"1\"/>\n";
  }
  void title(const std::string& s) { text(W / 2, top / 2 + 6, xml_escape(s), "font-size=\"16\" text-anchor=\"middle\""); }
  void x_title(const std::string& s) { text((x0() + x1()) / 2, H - 12, s, "font-size=\"13\" text-anchor=\"middle\""); }
  void y_title(const std::string& s) {
    const double x = 18, y = (y0() + y1()) / 2;
    out += "<text x=\"" + num(x) + "\" y=\"" + num(y) + "\" font-size=\"13\" text-anchor=\"middle\" transform=\"rotate(-90 " +
           num(x) + " " + num(y) + ")\">" + s + "</text>\n";
  }
  void x_tick(double x, const std::string& label, double drop = 0) {
    line(x, y0(), x, y0() + 5 + drop, "stroke=\"#333\"");
    text(x, y0() + 18 + drop, xml_escape(label), "font-size=\"11\" text-anchor=\"middle\"");
  }
  void y_tick(double y, const std::string& label) {
    line(x0() - 5, y, x0(), y, "stroke=\"#333\"");
    text(x0() - 8, y + 4, label, "font-size=\"11\" text-anchor=\"end\"");
  }
  std::string finish() { return out + "</svg>\n"; }
};

// A round step that gives about `ticks` intervals up to top.
double nice_step(double top, int ticks) {
  const double raw = top / ticks;
  const double mag = std::pow(10.0, std::floor(std::log10(raw)));
  for (double m : {1.0, 2.0, 5.0, 10.0})
    if (m * mag >= raw) return m * mag;
  return 10.0 * mag;
}

std::string tick_label(double v, double step) {
  if (step >= 1.0) return formatted("%.0f", v);
  return formatted("%g", std::round(v / step) * step);
}

// Drops marks that fall on a pixel cell already drawn once there are many.
struct Thinner {
  bool on;
  std::unordered_set<std::uint64_t> seen;
  explicit Thinner(std::size_t n) : on(n > kThinAbove) {}
  bool keep(double x, double y) {
    if (!on) return true;
    const auto cx = static_cast<std::uint64_t>(std::lround(x * 2.0)), cy = static_cast<std::uint64_t>(std::lround(y * 2.0));
    return seen.insert((cx << 32) | cy).second;
  }
};

void mark(std::string& out, double x, double y) {
  out += "<circle cx=\"" + num(x) + "\" cy=\"" + num(y) + "\" r=\"" + num(kMarkRadius) + "\"/>\n";
}

}  // namespace

std::string xml_escape(const std::string& s) {
  std::string out;
  for (char c : s) {
    switch (c) {
      case '&': out += "&amp;"; break;
      case '<': out += "&lt;"; break;
      case '>': out += "&gt;"; break;
      case '"': out += "&quot;"; break;
      case '\'': out += "&apos;"; break;
      default: out += c;
    }
  }
  return out;
}

std::string manhattan_svg(const std::vector<const ResultRow*>& rows, const std::string& title, int labels) {
  Canvas cv(1000, 450, 70, 25, 45, 55);
  cv.title(title);

  // Chromosome blocks: runs of equal chromosome in the sorted rows.
  struct Block {
    std::string chr;
    std::size_t first, last;
    double lo, hi, offset = 0;
  };
  std::vector<Block> blocks;
  for (std::size_t i = 0; i < rows.size(); i++) {
    const double pos = static_cast<double>(rows[i]->pos);
    if (blocks.empty() || blocks.back().chr != rows[i]->chr)
      blocks.push_back({rows[i]->chr, i, i, pos, pos});
    Block& b = blocks.back();
    b.last = i;
    b.lo = std::min(b.lo, pos);
    b.hi = std::max(b.hi, pos);
  }
  double spans = 0;
  for (const Block& b : blocks) spans += b.hi - b.lo;
  const double min_span = std::max(spans * 0.01, 1.0);
  const double gap = blocks.size() > 1 ? std::max(spans * 0.015, 1.0) : 0.0;
  double width = 0;
  for (Block& b : blocks) {
    b.offset = width;
    width += std::max(b.hi - b.lo, min_span) + gap;
  }
  width -= gap;
  if (width <= 0) width = 1;
  const double pad = 8;
  auto X = [&](const Block& b, double pos) {
    const double span = std::max(b.hi - b.lo, min_span);
    const double inside = b.hi > b.lo ? (pos - b.lo) : span / 2;
    return cv.x0() + pad + (b.offset + inside) / width * (cv.x1() - cv.x0() - 2 * pad);
  };

  double top = -std::log10(kGenomeWide) + 1.0;
  for (const ResultRow* r : rows) top = std::max(top, r->minus_log10p * 1.05);
  const double step = nice_step(top, 6);
  top = std::ceil(top / step) * step;
  auto Y = [&](double v) { return cv.y0() - v / top * (cv.y0() - cv.y1()); };

  for (double v = 0; v <= top + 1e-9; v += step) cv.y_tick(Y(v), tick_label(v, step));
  cv.y_title(kMinusLog10P);
  if (blocks.size() == 1) {
    const Block& b = blocks[0];
    const double mb_lo = b.lo / 1e6, mb_hi = b.hi / 1e6;
    const double mstep = nice_step(std::max(mb_hi - mb_lo, 1e-3), 6);
    for (double v = std::ceil(mb_lo / mstep) * mstep; v <= mb_hi + 1e-9; v += mstep) cv.x_tick(X(b, v * 1e6), tick_label(v, mstep));
    cv.x_title("Position on chromosome " + xml_escape(b.chr) + " (Mb)");
  } else {
    // Labels of narrow neighbouring chromosomes alternate between two rows.
    double last = -1e9;
    bool lower = false;
    for (const Block& b : blocks) {
      const double x = (X(b, b.lo) + X(b, b.hi)) / 2;
      lower = x - last < kTickLabelRoom && !lower;
      cv.x_tick(x, b.chr, lower ? 12 : 0);
      last = x;
    }
    cv.x_title("Chromosome");
  }

  const double gw = -std::log10(kGenomeWide), sg = -std::log10(kSuggestive);
  cv.line(cv.x0(), Y(gw), cv.x1(), Y(gw), std::string("stroke=\"") + kGenomeWideColour + "\" stroke-dasharray=\"6 4\"");
  cv.line(cv.x0(), Y(sg), cv.x1(), Y(sg), std::string("stroke=\"") + kSuggestiveColour + "\" stroke-dasharray=\"2 3\"");
  cv.text(cv.x1() - 4, Y(gw) - 4, "p = 5&#215;10&#8315;&#8312;",
          std::string("font-size=\"10\" text-anchor=\"end\" fill=\"") + kGenomeWideColour + "\"");
  cv.text(cv.x1() - 4, Y(sg) - 4, "p = 10&#8315;&#8309;",
          std::string("font-size=\"10\" text-anchor=\"end\" fill=\"") + kSuggestiveColour + "\"");

  Thinner thin(rows.size());
  for (std::size_t k = 0; k < blocks.size(); k++) {
    const Block& b = blocks[k];
    cv.out += std::string("<g fill=\"") + kColours[k % 2] + "\">\n";
    for (std::size_t i = b.first; i <= b.last; i++) {
      const double x = X(b, static_cast<double>(rows[i]->pos)), y = Y(rows[i]->minus_log10p);
      if (thin.keep(x, y)) mark(cv.out, x, y);
    }
    cv.out += "</g>\n";
  }

  // Labels: the strongest signals below the suggestive level, one per region.
  std::vector<std::size_t> order;
  for (std::size_t i = 0; i < rows.size(); i++)
    if (rows[i]->minus_log10p >= sg) order.push_back(i);
  std::stable_sort(order.begin(), order.end(),
                   [&](std::size_t a, std::size_t b) { return rows[a]->minus_log10p > rows[b]->minus_log10p; });
  std::vector<std::size_t> chosen;
  for (std::size_t i : order) {
    if (static_cast<int>(chosen.size()) >= labels) break;
    bool near = false;
    for (std::size_t j : chosen)
      if (rows[j]->chr == rows[i]->chr && std::llabs(rows[j]->pos - rows[i]->pos) < kLabelRegion) near = true;
    if (!near) chosen.push_back(i);
  }
  for (std::size_t i : chosen) {
    std::size_t k = 0;
    while (!(i >= blocks[k].first && i <= blocks[k].last)) k++;
    const double x = X(blocks[k], static_cast<double>(rows[i]->pos)), y = Y(rows[i]->minus_log10p);
    cv.text(x + 5, std::max(y - 5, cv.y1() + 10), xml_escape(rows[i]->id), "font-size=\"11\" fill=\"#111\"");
  }
  cv.frame();
  return cv.finish();
}

std::string qq_svg(std::vector<double> minus_log10p, double lambda, const std::string& title) {
  Canvas cv(520, 520, 70, 25, 45, 55);
  cv.title(title);
  std::sort(minus_log10p.begin(), minus_log10p.end(), std::greater<double>());
  const std::size_t n = minus_log10p.size();
  const double dn = static_cast<double>(n);
  auto expected = [&](double i) { return -std::log10((i - 0.5) / dn); };

  const double emax = n > 0 ? expected(1) : 1.0;
  double top = std::max(emax, n > 0 ? minus_log10p[0] : 1.0) * 1.05;
  top = std::max(top, 1.0);
  const double step = nice_step(top, 6);
  top = std::ceil(top / step) * step;
  double right = std::max(emax * 1.05, 1.0);
  const double xstep = nice_step(right, 6);
  right = std::ceil(right / xstep) * xstep;
  auto X = [&](double v) { return cv.x0() + v / right * (cv.x1() - cv.x0()); };
  auto Y = [&](double v) { return cv.y0() - std::min(v, top) / top * (cv.y0() - cv.y1()); };

  // 95% band of the i-th smallest of n uniform p-values, Beta(i, n - i + 1).
  if (n > 0) {
    std::vector<double> at;
    if (n <= 400) {
      for (std::size_t i = 1; i <= n; i++) at.push_back(static_cast<double>(i));
    } else {
      for (int k = 0; k <= 300; k++) at.push_back(std::round(std::pow(dn, k / 300.0)));
      at.erase(std::unique(at.begin(), at.end()), at.end());
    }
    std::string upper, lower;
    for (double i : at) {
      const double hi = -std::log10(beta_quantile(0.025, i, dn - i + 1));
      const double lo = -std::log10(beta_quantile(0.975, i, dn - i + 1));
      upper += num(X(expected(i))) + "," + num(Y(hi)) + " ";
      lower = num(X(expected(i))) + "," + num(Y(lo)) + " " + lower;
    }
    cv.out += "<polygon points=\"" + upper + lower + "\" fill=\"#d5d8dc\" stroke=\"none\"/>\n";
  }
  for (double v = 0; v <= top + 1e-9; v += step) cv.y_tick(Y(v), tick_label(v, step));
  for (double v = 0; v <= right + 1e-9; v += xstep) cv.x_tick(X(v), tick_label(v, xstep));
  const double diag = std::min(right, top);
  cv.line(X(0), Y(0), X(diag), Y(diag), "stroke=\"#c0392b\" stroke-width=\"1\"");
  cv.x_title(std::string("Expected ") + kMinusLog10P);
  cv.y_title(std::string("Observed ") + kMinusLog10P);

  Thinner thin(n);
  cv.out += std::string("<g fill=\"") + kColours[0] + "\">\n";
  for (std::size_t i = 0; i < n; i++) {
    const double x = X(expected(static_cast<double>(i + 1))), y = Y(minus_log10p[i]);
    if (thin.keep(x, y)) mark(cv.out, x, y);
  }
  cv.out += "</g>\n";
  const std::string shown = std::isfinite(lambda) ? formatted("&#955; = %.3f", lambda) : "&#955; = NA";
  cv.text(cv.x0() + 10, cv.y1() + 20, shown, "font-size=\"13\"");
  cv.text(cv.x0() + 10, cv.y1() + 38, formatted("%zu SNPs", n), "font-size=\"11\" fill=\"#555\"");
  cv.text(cv.x0() + 10, cv.y1() + 54, "grey: 95% band under no association", "font-size=\"11\" fill=\"#555\"");
  cv.frame();
  return cv.finish();
}

const char* r2_colour(double r2) {
  static const char* const kBins[5] = {"#357ebd", "#46b8da", "#5cb85c", "#eea236", "#d43f3a"};
  if (std::isnan(r2)) return "#9e9e9e";
  return kBins[std::min(4, std::max(0, static_cast<int>(r2 * 5.0)))];
}

std::string regional_svg(const std::vector<RegionalPoint>& points, const std::string& chr, long long from,
                         long long to, const std::string& title, const std::string& source_note) {
  Canvas cv(900, 480, 70, 150, 45, 75);
  cv.title(title);
  const double lo = static_cast<double>(from), hi = static_cast<double>(std::max(to, from + 1));
  auto X = [&](double pos) { return cv.x0() + (pos - lo) / (hi - lo) * (cv.x1() - cv.x0()); };
  double top = 1.0;
  for (const RegionalPoint& p : points) top = std::max(top, p.minus_log10p * 1.08);
  const double step = nice_step(top, 6);
  top = std::ceil(top / step) * step;
  auto Y = [&](double v) { return cv.y0() - v / top * (cv.y0() - cv.y1()); };
  for (double v = 0; v <= top + 1e-9; v += step) cv.y_tick(Y(v), tick_label(v, step));
  cv.y_title(kMinusLog10P);
  const double mstep = nice_step((hi - lo) / 1e6, 6);
  for (double v = std::ceil(lo / 1e6 / mstep) * mstep; v <= hi / 1e6 + 1e-9; v += mstep)
    cv.x_tick(X(v * 1e6), tick_label(v, mstep));
  cv.x_title("Position on chromosome " + xml_escape(chr) + " (Mb)");
  const double gw = -std::log10(kGenomeWide);
  if (gw <= top)
    cv.line(cv.x0(), Y(gw), cv.x1(), Y(gw), std::string("stroke=\"") + kGenomeWideColour + "\" stroke-dasharray=\"6 4\"");
  // Weakest r² first, so that the points of strong LD are drawn on top.
  std::vector<const RegionalPoint*> order;
  for (const RegionalPoint& p : points) order.push_back(&p);
  std::stable_sort(order.begin(), order.end(), [](const RegionalPoint* a, const RegionalPoint* b) {
    const double ra = std::isnan(a->r2) ? -1.0 : a->r2, rb = std::isnan(b->r2) ? -1.0 : b->r2;
    return (a->lead ? 2.0 : ra) < (b->lead ? 2.0 : rb);
  });
  for (const RegionalPoint* p : order) {
    const double x = X(static_cast<double>(p->pos)), y = Y(p->minus_log10p);
    if (p->lead) {
      cv.out += "<path d=\"M" + num(x) + " " + num(y - 7) + " L" + num(x + 6) + " " + num(y) + " L" + num(x) + " " +
                num(y + 7) + " L" + num(x - 6) + " " + num(y) + " Z\" fill=\"#9632b8\" stroke=\"#333\"/>\n";
    } else {
      cv.out += std::string("<circle cx=\"") + num(x) + "\" cy=\"" + num(y) + "\" r=\"3.6\" fill=\"" + r2_colour(p->r2) +
                "\" stroke=\"#555\" stroke-width=\"0.5\"/>\n";
    }
  }
  cv.frame();
  // Legend: the five bins, no r², the lead.
  const double lx = cv.x1() + 18;
  double ly = cv.y1() + 10;
  cv.text(lx, ly, "r&#178; with lead", "font-size=\"12\" font-weight=\"bold\"");
  const char* labels[5] = {"0.0 &#8211; 0.2", "0.2 &#8211; 0.4", "0.4 &#8211; 0.6", "0.6 &#8211; 0.8", "0.8 &#8211; 1.0"};
  for (int b = 4; b >= 0; b--) {
    ly += 18;
    cv.out += std::string("<circle cx=\"") + num(lx + 5) + "\" cy=\"" + num(ly - 4) + "\" r=\"4\" fill=\"" +
              r2_colour(b * 0.2 + 0.1) + "\"/>\n";
    cv.text(lx + 14, ly, labels[b], "font-size=\"11\"");
  }
  ly += 18;
  cv.out += std::string("<circle cx=\"") + num(lx + 5) + "\" cy=\"" + num(ly - 4) + "\" r=\"4\" fill=\"" +
            r2_colour(std::nan("")) + "\"/>\n";
  cv.text(lx + 14, ly, "no r&#178;", "font-size=\"11\"");
  ly += 18;
  cv.out += "<path d=\"M" + num(lx + 5) + " " + num(ly - 10) + " L" + num(lx + 10) + " " + num(ly - 4) + " L" +
            num(lx + 5) + " " + num(ly + 2) + " L" + num(lx) + " " + num(ly - 4) + " Z\" fill=\"#9632b8\"/>\n";
  cv.text(lx + 14, ly, "lead SNP", "font-size=\"11\"");
  cv.text(cv.x0(), cv.H - 32, xml_escape(source_note), "font-size=\"11\" fill=\"#444\"");
  return cv.finish();
}

}  // namespace report
