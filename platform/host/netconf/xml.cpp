#include "netconf/xml.h"

#include <array>
#include <ctime>
#include <memory>
#include <new>
#include <stdexcept>

namespace host {

namespace {

struct FreeInput {
  void operator()(ly_in* input) const { ly_in_free(input, 0); }
};

}  // namespace

std::string EscapeXml(const std::string& text) {
  std::string escaped;
  for (const char c : text) {
    switch (c) {
      case '&':
        escaped += "&amp;";
        break;
      case '<':
        escaped += "&lt;";
        break;
      case '>':
        escaped += "&gt;";
        break;
      case '"':
        escaped += "&quot;";
        break;
      default:
        // XML has no other control characters, not even escaped ones.
        escaped += static_cast<unsigned char>(c) < ' ' && c != '\n' && c != '\t' ? '?' : c;
    }
  }
  return escaped;
}

std::string Element(const std::string& name, const std::string& content) {
  return "<" + name + ">" + content + "</" + name + ">";
}

std::string Element(const std::string& name, uint64_t number) {
  return Element(name, std::to_string(number));
}

std::string Leaf(const std::string& name, const std::string& text) {
  return text.empty() ? "" : Element(name, EscapeXml(text));
}

std::string Leaf(const std::string& name, bool value) {
  return Element(name, std::string(value ? "true" : "false"));
}

std::string TimeText(std::chrono::system_clock::time_point time) {
  const time_t seconds = std::chrono::system_clock::to_time_t(time);
  tm parts = {};
  std::array<char, 32> text = {};
  gmtime_r(&seconds, &parts);
  strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%SZ", &parts);
  return text.data();
}

Tree ParseState(ly_ctx* context, const std::string& xml) {
  ly_in* opened = nullptr;
  if (ly_in_new_memory(xml.c_str(), &opened) != LY_SUCCESS) throw std::bad_alloc();
  const std::unique_ptr<ly_in, FreeInput> input(opened);
  lyd_node* parsed = nullptr;
  const LY_ERR result = lyd_parse_data(context, nullptr, input.get(), LYD_XML,
                                       LYD_PARSE_ONLY | LYD_PARSE_STRICT, 0, &parsed);
  Tree tree(parsed);
  if (result != LY_SUCCESS) throw std::runtime_error(TakeErrors(context));
  return tree;
}

}  // namespace host
