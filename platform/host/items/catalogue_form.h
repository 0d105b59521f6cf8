#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

#include "set/keys.h"

// What a catalogue consists of, in one place: the reader checks with these tables, and the JSON
// Schema (catalogue_schema.h) is generated from them. The loader checks what involves two members
// or two items.

namespace host {

inline constexpr std::size_t kNoLimit = static_cast<std::size_t>(-1);

using Words = std::span<const std::string_view>;

// A string in parts between single slashes. Characters are given as in "a-z0-9_".
struct Shape {
  Words roots;             // what the first part can be; like the others when empty
  std::string_view first;  // what a part begins with
  std::string_view rest;   // and what it goes on with
  std::size_t minParts;
  std::size_t maxParts;
  std::size_t maxBytes;
  Words excluded = {};  // as for IsAmong
};

bool Fits(const Shape& shape, std::string_view text);

// Whether `text` is one of the words, or begins with a word that ends with a slash.
bool IsAmong(Words words, std::string_view text);

enum class Sort {
  kAnything,
  kText,
  kFileName,
  kNumber,
  kPositive,
  kInteger,  // of 32 bits
  kTruth,
  kList,          // of at least one of `parts`
  kOneOrSeveral,  // one of one of `parts`, or a list of at least one
  kObject,        // `object`
  kItem,          // an object of `kItemForms`, by its member "kind"
  kRule,          // an object of `kRuleForms`, by its first member
};

struct ObjectForm;

// What a value looks like.
struct Form {
  Sort sort;
  std::string_view name = {};  // of its definition in the schema; none when it is used once

  // Of a text.
  bool canBeEmpty = false;
  std::size_t maxBytes = kNoLimit;
  const Shape* shape = nullptr;
  Words taken = {};               // what it cannot be although it has the shape, as for IsAmong
  Words words = {};               // what it is, when there are any
  std::string_view mistake = {};  // a format of the text, the words, and the most bytes

  std::span<const Form* const> parts = {};
  bool areDifferent = false;  // those of a list
  const ObjectForm* object = nullptr;
};

// How long a text can be.
std::size_t MostBytes(const Form& form);

// What is wrong with a text that does not have the form.
std::string MistakeIn(const Form& form, std::string_view text);

struct Member {
  std::string_view name;
  const Form* form;
  bool isRequired = true;
  std::string_view about = {};
};

struct ObjectForm {
  std::string_view name;  // of its definition in the schema, or none
  std::string_view what;  // begins a sentence about such objects
  std::string_view about;
  std::span<const Member> members;
};

// The prefix of the keys of previews; the item's identifier follows.
inline constexpr std::string_view kPreviewKeys = "memory/menu/preview/";

// What keys can lie in.
inline constexpr std::string_view kStores[] = {"db", "memory"};
inline constexpr std::string_view kPreviews[] = {kPreviewKeys};

// Keys with which the set keeps its state and programs communicate: no item can keep its value
// there.
inline constexpr std::string_view kTakenKeys[] = {
    kFactoryResetCountKey, kRefreshMenuKey,
    kRotationKey,          kProtectionKey,
    kGameDetectionKey,     kLaunchByERBrightnessKey,
    kDisabledItemsKey,     kGeneralResetKey,
    kMultiScreenKey,       kSetPrefix,
    kViewerPrefix,
};

inline constexpr std::string_view kKindWords[] = {"group", "switch", "list", "range", "action"};
inline constexpr std::string_view kSwitchWords[] = {"on", "off"};
inline constexpr std::string_view kStorageWords[] = {"int", "string"};
inline constexpr std::string_view kFollowsWords[] = {"speaker"};
inline constexpr std::string_view kSourceWords[] = {"tv",    "hdmi", "component", "av",
                                                    "scart", "pc",   "usb",       "app"};

// Narrower than what the key store accepts, so that keys can be typed and read aloud.
inline constexpr std::string_view kKeyCharacters = "A-Za-z0-9_.-";

inline constexpr Shape kIdShape{{}, "a-z", "a-z0-9_", 1, 1, 64};
inline constexpr Shape kDisplayIdShape{{}, "A-Z", "A-Z0-9_", 1, 1, kNoLimit};
inline constexpr Shape kKeyShape{kStores, kKeyCharacters, kKeyCharacters, 2, kNoLimit,
                                 255,     kPreviews};
inline constexpr Shape kFeatureShape{{}, kKeyCharacters, kKeyCharacters, 2, kNoLimit, kNoLimit};

inline constexpr Form kAnything{.sort = Sort::kAnything};
inline constexpr Form kNumber{.sort = Sort::kNumber};
inline constexpr Form kPositive{.sort = Sort::kPositive};
inline constexpr Form kInteger{.sort = Sort::kInteger, .name = "integer"};
inline constexpr Form kTruth{.sort = Sort::kTruth};
inline constexpr Form kText{.sort = Sort::kText, .name = "text"};
inline constexpr Form kKeyText{.sort = Sort::kText, .name = "keyText", .canBeEmpty = true};
inline constexpr Form kOptionValue{
    .sort = Sort::kText, .maxBytes = 255, .mistake = "a value has at most {2} bytes"};
inline constexpr Form kId{
    .sort = Sort::kText,
    .name = "id",
    .shape = &kIdShape,
    .mistake =
        "identifier \"{0}\" must begin with a lowercase letter and contain only lowercase "
        "letters, digits and \"_\", at most {2}"};
inline constexpr Form kDisplayId{
    .sort = Sort::kText,
    .name = "displayId",
    .shape = &kDisplayIdShape,
    .mistake =
        "\"displayId\" \"{0}\" must begin with a capital and contain only capitals, digits "
        "and \"_\""};
inline constexpr std::string_view kKeyMistake =
    "key \"{0}\" must begin with db/ or memory/, contain only letters, digits, \"_\", \"-\" and "
    "\".\" "
    "between single slashes, have at most {2} bytes, and not be in memory/menu/preview/";
inline constexpr Form kKey{
    .sort = Sort::kText, .name = "key", .shape = &kKeyShape, .mistake = kKeyMistake};
inline constexpr Form kOwnKey{.sort = Sort::kText,
                              .name = "ownKey",
                              .shape = &kKeyShape,
                              .taken = kTakenKeys,
                              .mistake = kKeyMistake};
inline constexpr Form kFeature{
    .sort = Sort::kText,
    .shape = &kFeatureShape,
    .mistake =
        "feature \"{0}\" must contain only letters, digits, \"_\", \"-\" and \".\" between "
        "single slashes, at least one"};
inline constexpr Form kKindName{
    .sort = Sort::kText, .words = kKindWords, .mistake = "unknown kind: use {1}"};
inline constexpr Form kOnOrOff{
    .sort = Sort::kText, .words = kSwitchWords, .mistake = "\"default\" of a switch must be {1}"};
inline constexpr Form kStorage{.sort = Sort::kText,
                               .name = "storage",
                               .words = kStorageWords,
                               .mistake = "unknown storage \"{0}\": use {1}"};
inline constexpr Form kFollows{.sort = Sort::kText,
                               .words = kFollowsWords,
                               .mistake = "\"follows\" \"{0}\" is unknown: use {1}"};
inline constexpr Form kSourceType{.sort = Sort::kText, .name = "sourceType", .words = kSourceWords};

// Rules.

inline constexpr Form kRule{.sort = Sort::kRule, .name = "rule"};
inline constexpr const Form* kRuleParts[] = {&kRule};
inline constexpr Form kRules{.sort = Sort::kList, .name = "rules", .parts = kRuleParts};

inline constexpr const Form* kItemValueParts[] = {&kText, &kNumber};
inline constexpr const Form* kKeyValueParts[] = {&kInteger, &kKeyText};
inline constexpr const Form* kFeatureValueParts[] = {&kTruth, &kInteger};
inline constexpr const Form* kSourceParts[] = {&kSourceType};
inline constexpr const Form* kSpeakerParts[] = {&kText};
inline constexpr Form kItemValues{.sort = Sort::kOneOrSeveral, .parts = kItemValueParts};
inline constexpr Form kKeyValues{.sort = Sort::kOneOrSeveral, .parts = kKeyValueParts};
inline constexpr Form kFeatureValues{.sort = Sort::kOneOrSeveral, .parts = kFeatureValueParts};
inline constexpr Form kSources{.sort = Sort::kOneOrSeveral, .parts = kSourceParts};
inline constexpr Form kSpeakers{.sort = Sort::kOneOrSeveral, .parts = kSpeakerParts};

inline constexpr Member kAskedItem{"item", &kId, true, "The item whose value is tested."};
inline constexpr Member kAskedKey{"key", &kKey, true, "The key of the key store."};
inline constexpr Member kAskedFeature{"feature", &kFeature, true,
                                      "The key of a feature of the model."};

inline constexpr Member kAllMembers[] = {{"all", &kRules, true, "All of these are true."}};
inline constexpr Member kAnyMembers[] = {{"any", &kRules, true, "At least one of these is true."}};
inline constexpr Member kNotMembers[] = {{"not", &kRule, true, "This is not true."}};
inline constexpr Member kItemRuleMembers[] = {
    kAskedItem,
    {"is", &kItemValues, true, "Written like the item's default; one of several in a list."}};
inline constexpr Member kKeyRuleMembers[] = {
    kAskedKey, {"is", &kKeyValues, true, "What it holds; one of several in a list."}};
inline constexpr Member kFeatureRuleMembers[] = {
    kAskedFeature, {"is", &kFeatureValues, true, "Its value; one of several in a list."}};
inline constexpr Member kSourceRuleMembers[] = {
    {"source", &kSources, true, "The type of the source on the screen; one of several in a list."}};
inline constexpr Member kSpeakerRuleMembers[] = {
    {"speaker", &kSpeakers, true, "The type of the active speaker; one of several in a list."}};

// Each is identified by the first of its members.
inline constexpr ObjectForm kRuleForms[] = {
    {"", "an \"all\" rule", "", kAllMembers},
    {"", "an \"any\" rule", "", kAnyMembers},
    {"", "a \"not\" rule", "", kNotMembers},
    {"", "a rule on an item", "", kItemRuleMembers},
    {"", "a rule on a key", "", kKeyRuleMembers},
    {"", "a rule on a feature", "", kFeatureRuleMembers},
    {"", "a rule on the source", "", kSourceRuleMembers},
    {"", "a rule on the speaker", "", kSpeakerRuleMembers},
};

// Items.

inline constexpr Form kItem{.sort = Sort::kItem, .name = "item"};
inline constexpr const Form* kItemParts[] = {&kItem};
inline constexpr Form kItems{.sort = Sort::kList, .name = "items", .parts = kItemParts};

inline constexpr Member kIdMember{"id", &kId, true, "Unique in the catalogue."};
inline constexpr Member kKindMember{"kind", &kKindName};
inline constexpr Member kNameMember{"name", &kText, true, "What the menu shows, in English."};
inline constexpr Member kDisplayIdMember{"displayId", &kDisplayId, true,
                                         "The identifier of the name, the same in every language."};
inline constexpr Member kVisibleMember{"visible", &kRule, false,
                                       "When the menu shows it; by default always."};
inline constexpr Member kEnabledMember{"enabled", &kRule, false,
                                       "When the user can operate it; by default always."};
inline constexpr Member kItemsMember{"items", &kItems, true, "In the order of the menu."};
inline constexpr Member kKeyMember{
    "key", &kOwnKey, false, "Where the value is kept; by default db/menu/ and the identifier."};
inline constexpr Member kSwitchStorage{"storage", &kStorage, false, "By default \"int\"."};
inline constexpr Member kListStorage{"storage", &kStorage, false, "By default \"string\"."};
inline constexpr Member kRangeStorage{"storage", &kStorage, false,
                                      "By default \"int\", for fractions \"string\"."};

inline constexpr Member kOptionValueMember{"value", &kOptionValue};
inline constexpr Member kOptionMembers[] = {kOptionValueMember, kNameMember, kVisibleMember,
                                            kEnabledMember};
inline constexpr ObjectForm kOptionForm{"option", "an option", "", kOptionMembers};
inline constexpr Form kOption{.sort = Sort::kObject, .object = &kOptionForm};
inline constexpr const Form* kOptionParts[] = {&kOption};
inline constexpr Form kOptions{.sort = Sort::kList, .parts = kOptionParts};

inline constexpr Member kKeptMin{"min", &kNumber};
inline constexpr Member kKeptStep{"step", &kPositive};
inline constexpr Member kKeptMembers[] = {kKeptMin, kKeptStep};
inline constexpr ObjectForm kKeptForm{"kept", "\"kept\"", "", kKeptMembers};
inline constexpr Form kKept{.sort = Sort::kObject, .object = &kKeptForm};

inline constexpr Member kSwitchDefault{"default", &kOnOrOff};
inline constexpr Member kListDefault{"default", &kText, true, "The value of one of the options."};
inline constexpr Member kFollowsMember{"follows", &kFollows, false,
                                       "Where the value comes from while there is one."};
inline constexpr Member kMin{"min", &kNumber};
inline constexpr Member kMax{"max", &kNumber};
inline constexpr Member kStep{"step", &kPositive};
inline constexpr Member kRangeDefault{"default", &kNumber};
inline constexpr Member kUnit{"unit", &kText, false, "Of the number."};

inline constexpr Member kGroupMembers[] = {kIdMember,        kKindMember,    kNameMember,
                                           kDisplayIdMember, kVisibleMember, kEnabledMember,
                                           kItemsMember};
inline constexpr Member kSwitchMembers[] = {kIdMember,        kKindMember,    kNameMember,
                                            kDisplayIdMember, kVisibleMember, kEnabledMember,
                                            kSwitchDefault,   kKeyMember,     kSwitchStorage};
inline constexpr Member kListMembers[] = {kIdMember,
                                          kKindMember,
                                          kNameMember,
                                          kDisplayIdMember,
                                          kVisibleMember,
                                          kEnabledMember,
                                          {"options", &kOptions},
                                          kListDefault,
                                          kKeyMember,
                                          kListStorage,
                                          kFollowsMember};
inline constexpr Member kRangeMembers[] = {
    kIdMember,
    kKindMember,
    kNameMember,
    kDisplayIdMember,
    kVisibleMember,
    kEnabledMember,
    kMin,
    kMax,
    kStep,
    kRangeDefault,
    kKeyMember,
    kRangeStorage,
    kUnit,
    {"kept", &kKept, false, "The number that is kept for min, and its distance to the next."}};
inline constexpr Member kActionMembers[] = {kIdMember,        kKindMember,    kNameMember,
                                            kDisplayIdMember, kVisibleMember, kEnabledMember};

// In the order of ItemKind.
inline constexpr ObjectForm kItemForms[] = {
    {kKindWords[0], "an item of kind group", "Holds other items.", kGroupMembers},
    {kKindWords[1], "an item of kind switch", "Off or on.", kSwitchMembers},
    {kKindWords[2], "an item of kind list", "One of several options.", kListMembers},
    {kKindWords[3], "an item of kind range", "A number: min, min + step and so on up to max.",
     kRangeMembers},
    {kKindWords[4], "an item of kind action", "Does something when chosen; has no value.",
     kActionMembers},
};

// Files.

inline constexpr Form kFileName{.sort = Sort::kFileName};
inline constexpr const Form* kFileParts[] = {&kFileName};
inline constexpr Form kFiles{.sort = Sort::kList, .parts = kFileParts, .areDifferent = true};
inline constexpr Member kSchemaMember{"$schema", &kAnything, false};
inline constexpr Member kIndexMembers[] = {
    kSchemaMember,
    {"files", &kFiles, true, "File names, beside the index, in the order of the menu."}};
inline constexpr Member kItemsFileMembers[] = {kSchemaMember, kItemsMember};
inline constexpr ObjectForm kIndexForm{"index", "an index", "", kIndexMembers};
inline constexpr ObjectForm kItemsFileForm{"itemsFile", "a file of items", "", kItemsFileMembers};

}  // namespace host
