#include "config/type_words.h"

#include <libyang/plugins_types.h>

#include <algorithm>
#include <boost/algorithm/string/replace.hpp>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <limits>
#include <vector>

namespace host {

namespace {

template <typename Type>
const Type* As(const lysc_type* type) {
  return reinterpret_cast<const Type*>(type);
}

struct NumberType {
  LY_DATA_TYPE base;
  int64_t least;
  uint64_t most;
};

template <typename Number>
constexpr NumberType OfNumber(LY_DATA_TYPE base) {
  return {base, std::numeric_limits<Number>::min(), std::numeric_limits<Number>::max()};
}

constexpr NumberType kNumbers[] = {
    OfNumber<uint8_t>(LY_TYPE_UINT8),   OfNumber<uint16_t>(LY_TYPE_UINT16),
    OfNumber<uint32_t>(LY_TYPE_UINT32), OfNumber<uint64_t>(LY_TYPE_UINT64),
    OfNumber<int8_t>(LY_TYPE_INT8),     OfNumber<int16_t>(LY_TYPE_INT16),
    OfNumber<int32_t>(LY_TYPE_INT32),   OfNumber<int64_t>(LY_TYPE_INT64),
};

const NumberType* NumberOf(const lysc_type* type) {
  const auto* found =
      std::find_if(std::begin(kNumbers), std::end(kNumbers),
                   [type](const NumberType& number) { return number.base == type->basetype; });
  return found == std::end(kNumbers) ? nullptr : found;
}

/// RFC 7951 has larger ones in quotes.
bool IsPlainInJson(const lysc_type* type) {
  return type->basetype != LY_TYPE_INT64 && type->basetype != LY_TYPE_UINT64;
}

std::string FromTo(const std::string& least, const std::string& most) {
  return least == most ? least : least + " to " + most;
}

/// The parts of a range or length, whose numbers have a sign or none.
std::string PartsText(const lysc_range* range, bool has_sign) {
  std::string text;
  LY_ARRAY_COUNT_TYPE i = 0;
  LY_ARRAY_FOR(range->parts, i) {
    const auto& part = range->parts[i];
    text += text.empty() ? "" : " or ";
    text += has_sign ? FromTo(std::to_string(part.min_64), std::to_string(part.max_64))
                     : FromTo(std::to_string(part.min_u64), std::to_string(part.max_u64));
  }
  return text;
}

std::string NumberWords(const lysc_type* type, const NumberType& number, Notation notation) {
  const lysc_range* range = As<lysc_type_num>(type)->range;
  const std::string words = range == nullptr
                                ? FromTo(std::to_string(number.least), std::to_string(number.most))
                                : PartsText(range, number.least < 0);
  return notation == Notation::kJson && IsPlainInJson(type) ? words + ", without quotes" : words;
}

/// The words of some, a comma between them.
std::string Names(const lysc_type_bitenum_item* items) {
  std::string names;
  LY_ARRAY_COUNT_TYPE i = 0;
  LY_ARRAY_FOR(items, i) { names += (names.empty() ? "" : ", ") + std::string(items[i].name); }
  return names;
}

struct KnownText {
  const char* plugin;
  const char* words;
};

/// The IETF's typedefs (RFC 6991) that libyang knows; it has no names of others.
constexpr KnownText kKnownTexts[] = {
    {"ipv4-address", "an IPv4 address"},
    {"ipv4-address-no-zone", "an IPv4 address"},
    {"ipv6-address", "an IPv6 address"},
    {"ipv6-address-no-zone", "an IPv6 address"},
    {"ipv4-prefix", "an IPv4 prefix such as 192.0.2.0/24"},
    {"ipv6-prefix", "an IPv6 prefix such as 2001:db8::/64"},
    {"date-and-time", "a date and time such as 2026-11-21T10:00:00Z"},
    {"xpath1.0", "an XPath expression"},
};

/// The name in "libyang 2 - NAME, version 1".
std::string PluginOf(const lysc_type* type) {
  const std::string id = type->plugin->id;
  const size_t begin = id.find("- ");
  return begin == std::string::npos ? id : id.substr(begin + 2, id.find(',') - begin - 2);
}

std::string TextWords(const lysc_type* type, Notation notation) {
  const std::string plugin = PluginOf(type);
  for (const KnownText& known : kKnownTexts) {
    if (plugin == known.plugin) return known.words;
  }
  const auto* text = As<lysc_type_str>(type);
  std::string words = "a text";
  if (text->length != nullptr) {
    words += " of " + PartsText(text->length, false) + " characters";
  }
  if (LY_ARRAY_COUNT(text->patterns) > 0 && text->patterns[0]->emsg == nullptr) {
    words += " that matches " + std::string(text->patterns[0]->expr);
  }
  return notation == Notation::kJson ? words + ", in quotes" : words;
}

std::string UnionWords(const lysc_type* type, Notation notation) {
  std::vector<std::string> all;
  LY_ARRAY_COUNT_TYPE i = 0;
  LY_ARRAY_FOR(As<lysc_type_union>(type)->types, i) {
    const std::string words = WordsOf(As<lysc_type_union>(type)->types[i], notation);
    if (std::find(all.begin(), all.end(), words) == all.end()) all.push_back(words);
  }
  std::string text;
  for (const std::string& words : all) text += (text.empty() ? "" : " or ") + words;
  return boost::replace_all_copy(text, " address or an ", " or ");
}

std::string BinaryWords(const lysc_type* type) {
  const lysc_range* length = As<lysc_type_bin>(type)->length;
  return length == nullptr ? "bytes in base64" : PartsText(length, false) + " bytes in base64";
}

std::string DecimalWords(const lysc_type* type) {
  const int digits = As<lysc_type_dec>(type)->fraction_digits;
  return "a number with up to " + std::to_string(digits) + " digits behind the point";
}

bool IsMessageOf(const lysc_range* range, const char* told) {
  return range != nullptr && range->emsg != nullptr && strcmp(range->emsg, told) == 0;
}

bool IsMessageOfText(const lysc_type_str* type, const char* told) {
  LY_ARRAY_COUNT_TYPE i = 0;
  LY_ARRAY_FOR(type->patterns, i) {
    const char* message = type->patterns[i]->emsg;
    if (message != nullptr && strcmp(message, told) == 0) return true;
  }
  return IsMessageOf(type->length, told);
}

/// Whether it is the model that says so.
bool IsModels(const lysc_type* type, const char* told) {
  if (type->basetype == LY_TYPE_STRING) return IsMessageOfText(As<lysc_type_str>(type), told);
  if (type->basetype == LY_TYPE_BINARY) return IsMessageOf(As<lysc_type_bin>(type)->length, told);
  return NumberOf(type) != nullptr && IsMessageOf(As<lysc_type_num>(type)->range, told);
}

}  // namespace

const lysc_type* TypeOf(const lysc_node* leaf) {
  return leaf->nodetype == LYS_LEAF ? reinterpret_cast<const lysc_node_leaf*>(leaf)->type
                                    : reinterpret_cast<const lysc_node_leaflist*>(leaf)->type;
}

std::string WordsOf(const lysc_type* type, Notation notation) {
  if (const NumberType* number = NumberOf(type)) return NumberWords(type, *number, notation);
  const bool is_json = notation == Notation::kJson;
  switch (type->basetype) {
    case LY_TYPE_BOOL:
      return is_json ? "true or false, without quotes" : "true or false";
    case LY_TYPE_ENUM:
      return "one of " + Names(As<lysc_type_enum>(type)->enums);
    case LY_TYPE_BITS:
      return "any of " + Names(As<lysc_type_bits>(type)->bits);
    case LY_TYPE_STRING:
      return TextWords(type, notation);
    case LY_TYPE_UNION:
      return UnionWords(type, notation);
    case LY_TYPE_LEAFREF:
      return WordsOf(As<lysc_type_leafref>(type)->realtype, notation);
    case LY_TYPE_BINARY:
      return BinaryWords(type);
    case LY_TYPE_DEC64:
      return DecimalWords(type);
    case LY_TYPE_EMPTY:
      return is_json ? "[null]" : "no value";
    case LY_TYPE_IDENT:
      return "the name of an identity";
    case LY_TYPE_INST:
      return "the path of an element";
    default:
      return "another value";
  }
}

std::string WhyNotTaken(const lysc_node* leaf, const char* told, Notation notation) {
  const lysc_type* type = TypeOf(leaf);
  if (type->basetype == LY_TYPE_LEAFREF) type = As<lysc_type_leafref>(type)->realtype;
  if (told != nullptr && IsModels(type, told)) return told;
  return "expected " + WordsOf(type, notation);
}

}  // namespace host
