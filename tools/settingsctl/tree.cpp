#include "settingsctl/tree.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstddef>
#include <string_view>

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

std::string Padding(std::size_t width, std::size_t column) {
  return std::string(column > width ? column - width : 0, ' ');
}

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

struct Columns {
  std::size_t name = 0;
  std::size_t value = 0;
  std::size_t item = 0;
};

Columns ColumnsOf(const std::vector<Row>& rows) {
  Columns columns;
  for (const Row& row : rows) {
    columns.name =
        std::max(columns.name, tools::DisplayWidth(row.lines) + tools::DisplayWidth(row.name));
    columns.value = std::max(columns.value, tools::DisplayWidth(row.value));
    columns.item = std::max(columns.item, tools::DisplayWidth(tools::Escape(row.branch->item)));
  }
  return columns;
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

std::string DrawRow(const Row& row, const Columns& columns, const Painter& paint) {
  const Branch& branch = *row.branch;
  const bool dimmed = !branch.visible || !branch.enabled;
  const std::string item = tools::Escape(branch.item);
  const std::string notes = Notes(branch);
  std::string text = paint(kDim, row.lines);
  text += paint(dimmed ? kDim : branch.children.empty() ? "" : kBold, row.name);
  text +=
      Padding(tools::DisplayWidth(row.lines) + tools::DisplayWidth(row.name), columns.name) + "  ";
  text += paint(dimmed ? kDim : kCyan, row.value) +
          Padding(tools::DisplayWidth(row.value), columns.value) + "  ";
  text += paint(kDim, item);
  if (!notes.empty()) {
    text += Padding(tools::DisplayWidth(item), columns.item) + "  " +
            paint(branch.apps.empty() ? kDim : kYellow, notes);
  }
  return text;
}

}  // namespace

std::vector<std::string> Draw(const std::vector<Branch>& branches, bool coloured) {
  std::vector<Row> rows;
  for (const Branch& branch : branches) {
    AddRows(branch, "", "", rows);
  }
  const Columns columns = ColumnsOf(rows);
  const Painter paint(coloured);
  std::vector<std::string> drawing;
  for (const Row& row : rows) {
    drawing.push_back(DrawRow(row, columns, paint));
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
