// An XML document as libxml2 has it, which reads whole documents here.
#pragma once

#include <libxml/parser.h>
#include <libxml/tree.h>
#include <libxml/xmlerror.h>

#include <memory>
#include <string>

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
    is_well_formed_ = document_ != nullptr && !has_errors && document_->intSubset == nullptr &&
                      text.find('\0') == std::string::npos;
  }

  /// Whether it is a well-formed document with declared prefixes and no document type (RFC 6241,
  /// 3).
  bool IsWellFormed() const { return is_well_formed_; }

  bool HasRoot(const std::string& ns, const std::string& name) const {
    const xmlNode* root = xmlDocGetRootElement(document_.get());
    return root->ns != nullptr && ns == Text(root->ns->href) && name == Text(root->name);
  }

  /// The value of an attribute of the root that has no prefix, null without it.
  std::unique_ptr<std::string> Attribute(const char* name) const {
    const xmlNode* root = xmlDocGetRootElement(document_.get());
    xmlChar* value = xmlGetNoNsProp(root, reinterpret_cast<const xmlChar*>(name));
    if (value == nullptr) return nullptr;
    auto text = std::make_unique<std::string>(Text(value));
    xmlFree(value);
    return text;
  }

 private:
  static const char* Text(const xmlChar* text) { return reinterpret_cast<const char*>(text); }

  /// A namespace may be any text to libyang, which compares it only.
  static void NoteError(void* has_errors, xmlErrorPtr error) {
    const bool is_of_uri = error->code == XML_WAR_NS_URI || error->code == XML_WAR_NS_URI_RELATIVE;
    if (error->level >= XML_ERR_ERROR && !is_of_uri) *static_cast<bool*>(has_errors) = true;
  }

  std::unique_ptr<xmlDoc, void (*)(xmlDoc*)> document_{nullptr, xmlFreeDoc};
  bool is_well_formed_ = false;
};
