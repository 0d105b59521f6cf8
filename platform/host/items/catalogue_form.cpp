#include "items/catalogue_form.h"

#include <fmt/format.h>

#include <algorithm>

namespace host {
namespace {

bool IsIn(std::string_view ranges, char c) {
  for (std::size_t i = 0; i < ranges.size(); ++i) {
    const bool isRange = i + 2 < ranges.size() && ranges[i + 1] == '-';
    if (c >= ranges[i] && c <= ranges[isRange ? i + 2 : i]) {
      return true;
    }
    i += isRange ? 2 : 0;
  }
  return false;
}

bool IsPart(const Shape& shape, std::string_view part) {
  return !part.empty() && IsIn(shape.first, part.front()) &&
         std::all_of(part.begin() + 1, part.end(), [&](char c) { return IsIn(shape.rest, c); });
}

}  // namespace

bool Fits(const Shape& shape, std::string_view text) {
  if (text.size() > shape.maxBytes || IsAmong(shape.excluded, text)) {
    return false;
  }
  std::size_t parts = 0;
  for (std::size_t begin = 0; begin <= text.size(); ++parts) {
    const std::size_t end = std::min(text.find('/', begin), text.size());
    const std::string_view part = text.substr(begin, end - begin);
    const bool isRoot = parts == 0 && !shape.roots.empty();
    if (isRoot ? std::find(shape.roots.begin(), shape.roots.end(), part) == shape.roots.end()
               : !IsPart(shape, part)) {
      return false;
    }
    begin = end + 1;
  }
  return parts >= shape.minParts && parts <= shape.maxParts;
}

bool IsAmong(Words words, std::string_view text) {
  return std::any_of(words.begin(), words.end(), [&](std::string_view word) {
    return word.ends_with('/') ? text.starts_with(word) : text == word;
  });
}

std::size_t MostBytes(const Form& form) {
  return form.shape != nullptr ? form.shape->maxBytes : form.maxBytes;
}

std::string MistakeIn(const Form& form, std::string_view text) {
  std::string words;
  for (std::size_t i = 0; i < form.words.size(); ++i) {
    const char* between = i == 0 ? "" : i + 1 == form.words.size() ? " or " : ", ";
    words += fmt::format("{}\"{}\"", between, form.words[i]);
  }
  return fmt::format(fmt::runtime(form.mistake), text, words, MostBytes(form));
}

}  // namespace host
