#include "netconf/message.h"

#include <libxml/parser.h>
#include <libxml/xmlerror.h>

#include <climits>
#include <memory>
#include <new>
#include <set>

#include "netconf/envelope.h"
#include "netconf/message_limits.h"

namespace host {

namespace {

std::string Text(const xmlChar* text) {
  return text == nullptr ? "" : reinterpret_cast<const char*>(text);
}

/// What libxml2 tells while it reads a message.
struct Reading {
  MessageHead head;
  std::string fault;        ///< The first one.
  size_t config_depth = 0;  ///< Of the <config> that is open, 0 for none.
  /// Of each open element: the names of its children so far that have no namespace.
  std::vector<std::set<std::string>> without_namespace;
  std::vector<size_t> children;  ///< Of each open element.
  size_t elements = 0;
  xmlParserCtxt* parser = nullptr;

  static Reading* Of(void* reading) { return static_cast<Reading*>(reading); }

  size_t Depth() const { return without_namespace.size(); }

  void NoteFault(const std::string& text) {
    if (fault.empty()) fault = text.substr(0, text.find('\n'));
  }
};

/// An attribute is five pointers: name, prefix, namespace, and where its value begins and ends.
MessageAttribute AttributeAt(const xmlChar** attribute) {
  const std::string value(reinterpret_cast<const char*>(attribute[3]),
                          reinterpret_cast<const char*>(attribute[4]));
  return {Text(attribute[1]), Text(attribute[2]), Text(attribute[0]), value};
}

void ReadRoot(const xmlChar* name, const xmlChar* ns, int count, const xmlChar** attributes,
              MessageHead* head) {
  head->name = Text(name);
  head->ns = Text(ns);
  for (int i = 0; i < count; ++i) head->attributes.push_back(AttributeAt(attributes + 5L * i));
}

ElementPlace PlaceOf(const std::string& name, const Reading& reading) {
  if (reading.config_depth != 0) return ElementPlace::kConfiguration;
  return name == "filter" ? ElementPlace::kFilter : ElementPlace::kOther;
}

void CheckAttributes(const std::string& element, int count, const xmlChar** attributes,
                     Reading* reading) {
  const ElementPlace place = PlaceOf(element, *reading);
  for (int i = 0; i < count && !reading->head.refused_attribute; ++i) {
    try {
      CheckAttribute(AttributeAt(attributes + 5L * i), place, element);
    } catch (const RpcError& error) {
      reading->head.refused_attribute = error;
    }
  }
}

/// What an element's place means for those beside it and in it.
void NoteElement(const std::string& name, const std::string& ns, Reading* reading) {
  std::set<std::string>& siblings = reading->without_namespace.back();
  if (siblings.count(name) != 0) reading->head.unreadable = name;
  if (ns.empty()) siblings.insert(name);
  const bool is_config = name == "config" && ns == kNetconfNamespace;
  if (is_config && reading->config_depth == 0) reading->config_depth = reading->Depth();
}

/// Ends the reading where there are too many elements.
void Count(Reading* reading) {
  const size_t siblings = reading->children.empty() ? 0 : ++reading->children.back();
  reading->children.push_back(0);
  if (++reading->elements <= kMostElements && siblings <= kMostChildren) return;
  reading->NoteFault("it has more than " + std::to_string(kMostElements) +
                     " elements, or one of them more than " + std::to_string(kMostChildren));
  xmlStopParser(reading->parser);
}

void StartElement(void* user, const xmlChar* name, const xmlChar* /*prefix*/, const xmlChar* ns,
                  int /*namespace_count*/, const xmlChar** /*namespaces*/, int attribute_count,
                  int /*defaulted*/, const xmlChar** attributes) {
  Reading* reading = Reading::Of(user);
  Count(reading);
  if (reading->Depth() == 0) {
    ReadRoot(name, ns, attribute_count, attributes, &reading->head);
  } else {
    CheckAttributes(Text(name), attribute_count, attributes, reading);
    NoteElement(Text(name), Text(ns), reading);
  }
  reading->without_namespace.emplace_back();
}

void EndElement(void* user, const xmlChar* /*name*/, const xmlChar* /*prefix*/,
                const xmlChar* /*ns*/) {
  Reading* reading = Reading::Of(user);
  reading->without_namespace.pop_back();
  reading->children.pop_back();
  if (reading->Depth() == reading->config_depth) reading->config_depth = 0;
}

void DocumentType(void* user, const xmlChar* /*name*/, const xmlChar* /*external_id*/,
                  const xmlChar* /*system_id*/) {
  Reading::Of(user)->NoteFault("a message has no document type");
  xmlStopParser(Reading::Of(user)->parser);
}

/// A namespace may be any text, though libxml2 finds faults in what is no URI.
bool IsFault(const xmlError& error) {
  return error.level >= XML_ERR_ERROR && error.code != XML_WAR_NS_URI &&
         error.code != XML_WAR_NS_URI_RELATIVE;
}

void SetHandler(xmlSAXHandler* handler) {
  *handler = {};
  handler->initialized = XML_SAX2_MAGIC;
  handler->startElementNs = StartElement;
  handler->endElementNs = EndElement;
  handler->internalSubset = DocumentType;
  // Newer versions of libxml2 call it with a constant error.
  handler->serror = [](void* user, auto* error) {
    if (IsFault(*error)) {
      Reading::Of(user)->NoteFault("line " + std::to_string(error->line) + ": " + error->message);
    }
  };
}

struct FreeParser {
  void operator()(xmlParserCtxt* parser) const { xmlFreeParserCtxt(parser); }
};

void Parse(const std::string& message, Reading* reading) {
  const std::unique_ptr<xmlParserCtxt, FreeParser> parser(xmlNewParserCtxt());
  if (parser == nullptr) throw std::bad_alloc();
  SetHandler(parser->sax);
  parser->userData = reading;
  reading->parser = parser.get();
  // Without the first flag, attributes have references to ampersands.
  xmlCtxtReadMemory(parser.get(), message.data(), static_cast<int>(message.size()), nullptr,
                    nullptr, XML_PARSE_NOENT | XML_PARSE_NONET);
  if (parser->wellFormed == 0) reading->NoteFault("it is no XML");
}

}  // namespace

MessageHead ReadHead(const std::string& message) {
  Reading reading;
  // libxml2 takes a zero byte for the end, and counts in int.
  if (message.find('\0') != std::string::npos) reading.NoteFault("there is a zero byte in it");
  if (HasTooManyAttributes(message)) {
    reading.NoteFault("an element has more than " + std::to_string(kMostAttributes) +
                      " attributes");
  }
  if (message.empty() || message.size() > INT_MAX) reading.NoteFault("no rpc element");
  if (reading.fault.empty()) Parse(message, &reading);
  if (reading.fault.empty()) return reading.head;
  throw RpcError("rpc", "malformed-message", "this is no request: " + reading.fault);
}

}  // namespace host
