// What another reader than the code under test, libxml2, makes of an XML document.
#pragma once

#include <libxml/parser.h>
#include <libxml/tree.h>
#include <libxml/xmlerror.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>

/// A document in the part of XML that NETCONF messages are of: UTF-8, without a document type and
/// processing instructions (RFC 6241, 3.2).
class Document {
 public:
  explicit Document(const std::string& text) {
    const std::unique_ptr<xmlParserCtxt, void (*)(xmlParserCtxt*)> parser(xmlNewParserCtxt(),
                                                                          xmlFreeParserCtxt);
    bool has_errors = false;
    xmlSetStructuredErrorFunc(&has_errors, &Document::NoteError);
    document_.reset(xmlCtxtReadMemory(parser.get(), text.data(), static_cast<int>(text.size()),
                                      nullptr, nullptr, XML_PARSE_NONET));
    xmlSetStructuredErrorFunc(nullptr, nullptr);
    const bool is_plain_text = text[0] == '<' && text.find('\0') == std::string::npos;
    is_plain_ = document_ != nullptr && !has_errors && is_plain_text && HasPlainHead() &&
                IsWithoutInstructions(document_->children);
  }

  /// Whether it is a well-formed document, its prefixes declared, of this part of XML.
  bool IsWellFormed() const { return is_plain_; }

  bool HasRoot(const std::string& ns, const std::string& name) const {
    const xmlNode* root = xmlDocGetRootElement(document_.get());
    return root->ns != nullptr && ns == Text(root->ns->href) && name == Text(root->name);
  }

  /// Text beside elements in the root, which a request does not have.
  bool HasTextInRoot() const {
    const xmlNode* child = xmlDocGetRootElement(document_.get())->children;
    for (; child != nullptr; child = child->next) {
      if (child->type == XML_CDATA_SECTION_NODE) return true;
      if (child->type == XML_TEXT_NODE && xmlIsBlankNode(child) == 0) return true;
    }
    return false;
  }

  /// The value of an attribute of the root that has no prefix, null without it. Its blanks are left
  /// out: libyang takes them as they stand where libxml2 makes spaces of line ends.
  std::unique_ptr<std::string> Attribute(const char* name) const {
    const xmlNode* root = xmlDocGetRootElement(document_.get());
    xmlChar* value = xmlGetNoNsProp(root, reinterpret_cast<const xmlChar*>(name));
    if (value == nullptr) return nullptr;
    auto text = std::make_unique<std::string>(Text(value));
    xmlFree(value);
    const auto is_blank = [](char c) { return strchr(" \t\r\n", c) != nullptr; };
    text->erase(std::remove_if(text->begin(), text->end(), is_blank), text->end());
    return text;
  }

 private:
  static const char* Text(const xmlChar* text) { return reinterpret_cast<const char*>(text); }

  /// A namespace may be any text to libyang, which compares it only.
  static void NoteError(void* has_errors, xmlErrorPtr error) {
    const bool is_of_uri = error->code == XML_WAR_NS_URI || error->code == XML_WAR_NS_URI_RELATIVE;
    if (!is_of_uri) *static_cast<bool*>(has_errors) = true;
  }

  bool HasPlainHead() const {
    const std::string encoding = document_->encoding == nullptr ? "" : Text(document_->encoding);
    return document_->intSubset == nullptr && (encoding.empty() || encoding == "UTF-8");
  }

  static bool IsWithoutInstructions(const xmlNode* node) {
    for (; node != nullptr; node = node->next) {
      if (node->type == XML_PI_NODE) return false;
      if (node->type == XML_ELEMENT_NODE && !IsWithoutInstructions(node->children)) return false;
    }
    return true;
  }

  std::unique_ptr<xmlDoc, void (*)(xmlDoc*)> document_{nullptr, xmlFreeDoc};
  bool is_plain_ = false;
};
