#include "settingsctl/tree.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstddef>
#include <utility>

#include "base/width.h"
#include "text.h"

namespace settingsctl {
namespace {

constexpr char kBold[] = "\x1b[1m";
constexpr char kDim[] = "\x1b[2m";
constexpr char kYellow[] = "\x1b[33m";
constexpr char kCyan[] = "\x1b[36m";
constexpr char kPlain[] = "\x1b[0m";

struct Row {
  std::string lines;  // the branch lines that lead to the item
  std::string value;
  std::string name;
  const Branch* branch;
};

void AddRows(const Branch& branch, const std::string& lines, const std::string& linesBelow,
             std::vector<Row>& rows) {
  const std::string& value =
      branch.valueName.empty() ? branch.value.value_or("") : branch.valueName;
  rows.push_back({lines, tools::Escape(value), tools::Escape(branch.name), &branch});
  for (const Branch& child : branch.children) {
    const bool last = &child == &branch.children.back();
    AddRows(child, linesBelow + (last ? "└─ " : "├─ "), linesBelow + (last ? "   " : "│  "), rows);
  }
}

std::string Notes(const Branch& branch) {
  std::string notes = branch.visible ? "" : "hidden";
  const std::string state =
      branch.apps.empty() ? "greyed out" : fmt::format("disabled by {}", Joined(branch.apps));
  if (!branch.enabled) {
    notes += (notes.empty() ? "" : ", ") + state;
  }
  return notes;
}

constexpr std::size_t kGap = 2;

// The widths of what stands beside each other. An empty column of notes or values has no gap.
struct Columns {
  std::size_t name = 0;
  std::size_t value = 0;
  std::size_t item = 0;
  std::size_t notes = 0;

  std::size_t Sum() const {
    const std::size_t gaps = (value > 0 ? 2 : 1) + (notes > 0 ? 1 : 0);
    return name + value + item + notes + gaps * kGap;
  }
};

Columns ColumnsOf(const std::vector<Row>& rows) {
  Columns columns;
  for (const Row& row : rows) {
    columns.name =
        std::max(columns.name, base::DisplayWidth(row.lines) + base::DisplayWidth(row.name));
    columns.value = std::max(columns.value, base::DisplayWidth(row.value));
    columns.item = std::max(columns.item, base::DisplayWidth(tools::Escape(row.branch->item)));
    columns.notes = std::max(columns.notes, base::DisplayWidth(Notes(*row.branch)));
  }
  return columns;
}

// Makes the columns as narrow as needed. First each gives what it can and is still understood, then
// those go that can be asked for in another way.
void Fit(std::size_t width, Columns& columns) {
  const std::size_t wholeName = columns.name;
  const std::pair<std::size_t Columns::*, std::size_t> steps[] = {
      {&Columns::notes, 10}, {&Columns::value, 8}, {&Columns::name, 24}, {&Columns::notes, 0},
      {&Columns::value, 0},  {&Columns::name, 1},  {&Columns::item, 1}};
  for (const auto& [column, least] : steps) {
    const std::size_t sum = columns.Sum();
    const std::size_t given = columns.*column;
    if (sum > width && given > least) {
      const std::size_t left = given - std::min(given, sum - width);
      columns.*column = least == 0 ? 0 : std::max(least, left);
    }
  }
  // What has gone may leave more room than was missing.
  columns.name += std::min(wholeName - columns.name, width - std::min(width, columns.Sum()));
}

class Painter {
 public:
  explicit Painter(bool coloured) : m_Coloured(coloured) {}

  std::string operator()(const std::string& style, const std::string& text) const {
    return m_Coloured && !text.empty() && !style.empty() ? style + text + kPlain : text;
  }

 private:
  bool m_Coloured;
};

class Line {
 public:
  explicit Line(const Painter& paint) : m_Paint(paint) {}

  // Text that is as wide as `columns` or narrower, and then what is missing.
  void Add(const std::string& style, const std::string& text, std::size_t columns) {
    if (!text.empty()) {
      m_Text += std::string(m_Padding, ' ') + m_Paint(style, text);
      m_Padding = 0;
    }
    m_Padding += columns - base::DisplayWidth(text);
  }

  // Ends without blanks.
  const std::string& Text() const { return m_Text; }

 private:
  const Painter& m_Paint;
  std::string m_Text;
  std::size_t m_Padding = 0;
};

// `width` is that of the terminal, or more than any line has.
std::string DrawRow(const Row& row, const Columns& columns, std::size_t width,
                    const Painter& paint) {
  const Branch& branch = *row.branch;
  const bool dimmed = !branch.visible || !branch.enabled;
  const std::string lines = base::FitWidth(row.lines, columns.name);
  const std::size_t nameWidth = columns.name - base::DisplayWidth(lines);
  Line line(paint);
  line.Add(kDim, lines, base::DisplayWidth(lines));
  const char* const style = branch.children.empty() ? "" : kBold;
  line.Add(dimmed ? kDim : style, base::FitWidth(row.name, nameWidth), nameWidth);
  if (columns.value > 0) {
    line.Add("", "", kGap);
    line.Add(dimmed ? kDim : kCyan, base::FitWidth(row.value, columns.value), columns.value);
  }
  line.Add("", "", kGap);
  const std::string item = base::FitWidth(tools::Escape(branch.item), columns.item);
  const std::size_t itemWidth = base::DisplayWidth(item);
  line.Add(kDim, item, columns.notes > 0 ? columns.item : itemWidth);
  // Without a column they stand right behind the ID, as far as there is room.
  constexpr std::size_t kShortestNotes = 4;
  const std::size_t used = columns.Sum() - columns.item + itemWidth + kGap;
  const std::size_t left = columns.notes > 0 ? columns.notes : width - std::min(width, used);
  if (left >= kShortestNotes) {
    line.Add("", "", kGap);
    line.Add(branch.apps.empty() ? kDim : kYellow, base::FitWidth(Notes(branch), left), left);
  }
  return line.Text();
}

}  // namespace

std::vector<std::string> Draw(const std::vector<Branch>& branches, const Paper& paper) {
  std::vector<Row> rows;
  for (const Branch& branch : branches) {
    AddRows(branch, "", "", rows);
  }
  Columns columns = ColumnsOf(rows);
  const std::size_t width = paper.width.value_or(columns.Sum());
  Fit(width, columns);
  const Painter paint(paper.coloured);
  std::vector<std::string> drawing;
  for (const Row& row : rows) {
    drawing.push_back(DrawRow(row, columns, width, paint));
  }
  return drawing;
}

Json::Value TreeJson(const Branch& branch) {
  Json::Value json;
  json["item"] = branch.item;
  json["name"] = branch.name;
  json["value"] = branch.value ? Json::Value(*branch.value) : Json::Value();
  json["valueName"] = branch.value ? Json::Value(branch.valueName) : Json::Value();
  json["visible"] = branch.visible;
  json["enabled"] = branch.enabled;
  json["disabledBy"] = Array(branch.apps);
  json["children"] = Json::Value(Json::arrayValue);
  for (const Branch& child : branch.children) {
    json["children"].append(TreeJson(child));
  }
  return json;
}

}  // namespace settingsctl
