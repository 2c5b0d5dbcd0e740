#include "crash/MantisSoap.h"

#include <charconv>
#include <string>

#include "platform/TextEncoding.h"

namespace rotalis::crash {
namespace {

// The length of the valid UTF-8 sequence starting at text[i] that is also an
// allowed XML character, or 0.
std::size_t ValidXmlCharLength(std::string_view text, std::size_t i) {
  const auto byte = [&](std::size_t k) { return static_cast<unsigned char>(text[k]); };
  const unsigned char lead = byte(i);
  if (lead < 0x80) return (lead >= 0x20 || lead == '\t' || lead == '\n' || lead == '\r') ? 1 : 0;
  std::size_t length = 0;
  char32_t code = 0;
  if ((lead & 0xE0) == 0xC0) {
    length = 2;
    code = lead & 0x1F;
  } else if ((lead & 0xF0) == 0xE0) {
    length = 3;
    code = lead & 0x0F;
  } else if ((lead & 0xF8) == 0xF0) {
    length = 4;
    code = lead & 0x07;
  } else {
    return 0;
  }
  if (i + length > text.size()) return 0;
  for (std::size_t k = 1; k < length; ++k) {
    if ((byte(i + k) & 0xC0) != 0x80) return 0;
    code = (code << 6) | (byte(i + k) & 0x3F);
  }
  static constexpr char32_t kSmallest[] = {0, 0, 0x80, 0x800, 0x10000};
  if (code < kSmallest[length] || code > 0x10FFFF) return 0;
  if ((code >= 0xD800 && code <= 0xDFFF) || code == 0xFFFE || code == 0xFFFF) return 0;
  return length;
}

std::string Element(const std::string& name, const std::string& type, const std::string& value) {
  return "<" + name + " xsi:type=\"" + type + "\">" + value + "</" + name + ">";
}

std::string Envelope(const std::string& operation, const std::string& parts) {
  return std::string(
             "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
             "<SOAP-ENV:Envelope"
             " xmlns:SOAP-ENV=\"http://schemas.xmlsoap.org/soap/envelope/\""
             " xmlns:SOAP-ENC=\"http://schemas.xmlsoap.org/soap/encoding/\""
             " xmlns:xsd=\"http://www.w3.org/2001/XMLSchema\""
             " xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\""
             " xmlns:man=\"") +
         kMantisNamespace +
         "\" SOAP-ENV:encodingStyle=\"http://schemas.xmlsoap.org/soap/encoding/\">"
         "<SOAP-ENV:Body><man:" +
         operation + ">" + parts + "</man:" + operation + "></SOAP-ENV:Body></SOAP-ENV:Envelope>\n";
}

std::string AccountParts(const MantisAccount& account) {
  return Element("username", "xsd:string", XmlText(account.username)) +
         Element("password", "xsd:string", XmlText(account.password));
}

// The text of the first element with that local name (any prefix), or nothing.
bool FindElementText(const std::string& body, const std::string& localName, std::string& text) {
  std::size_t pos = 0;
  while ((pos = body.find('<', pos)) != std::string::npos) {
    std::size_t nameStart = pos + 1;
    std::size_t nameEnd = body.find_first_of(" \t\r\n/>", nameStart);
    if (nameEnd == std::string::npos) return false;
    std::string name = body.substr(nameStart, nameEnd - nameStart);
    if (const auto colon = name.find(':'); colon != std::string::npos) name.erase(0, colon + 1);
    const std::size_t tagEnd = body.find('>', nameEnd);
    if (tagEnd == std::string::npos) return false;
    if (name == localName && body[tagEnd - 1] != '/') {
      const std::size_t close = body.find("</", tagEnd);
      if (close == std::string::npos) return false;
      text = body.substr(tagEnd + 1, close - tagEnd - 1);
      return true;
    }
    pos = tagEnd;
  }
  return false;
}

// Entities of XML and the few HTML ones the tracker's hand-written faults use.
std::string DecodeEntities(const std::string& text) {
  std::string out;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '&') {
      out += text[i];
      continue;
    }
    const std::size_t semi = text.find(';', i);
    if (semi == std::string::npos) {
      out += text.substr(i);
      break;
    }
    const std::string name = text.substr(i + 1, semi - i - 1);
    if (name == "amp")
      out += '&';
    else if (name == "lt")
      out += '<';
    else if (name == "gt")
      out += '>';
    else if (name == "quot")
      out += '"';
    else if (name == "apos")
      out += '\'';
    else if (name.size() > 1 && name[0] == '#') {
      unsigned value = 0;
      const bool hex = name[1] == 'x' || name[1] == 'X';
      const char* first = name.data() + (hex ? 2 : 1);
      const auto parsed = std::from_chars(first, name.data() + name.size(), value, hex ? 16 : 10);
      if (parsed.ec != std::errc() || value == 0 || value > 0x10FFFF) {
        out += text.substr(i, semi - i + 1);
      } else {
        AppendUtf8(out, static_cast<char32_t>(value));
      }
    } else {
      out += text.substr(i, semi - i + 1);
    }
    i = semi;
  }
  return out;
}

}  // namespace

std::string SendableText(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (std::size_t i = 0; i < text.size();) {
    const std::size_t length = ValidXmlCharLength(text, i);
    if (length == 0) {
      out += '?';
      ++i;
    } else {
      out.append(text.substr(i, length));
      i += length;
    }
  }
  return out;
}

std::string XmlText(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  // Only the markup characters need escaping: every other byte of the
  // sendable text is part of an allowed character.
  for (char c : SendableText(text)) {
    switch (c) {
      case '&':
        out += "&amp;";
        break;
      case '<':
        out += "&lt;";
        break;
      case '>':
        out += "&gt;";
        break;
      case '"':
        out += "&quot;";
        break;
      case '\'':
        out += "&apos;";
        break;
      // A parser turns a bare CR (and CR LF) into LF; the reference keeps it.
      case '\r':
        out += "&#13;";
        break;
      default:
        out += c;
    }
  }
  return out;
}

std::string Base64Encode(std::string_view bytes) {
  static constexpr char kAlphabet[] =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string out;
  out.reserve((bytes.size() + 2) / 3 * 4);
  std::size_t i = 0;
  for (; i + 2 < bytes.size(); i += 3) {
    const unsigned v = static_cast<unsigned char>(bytes[i]) << 16 |
                       static_cast<unsigned char>(bytes[i + 1]) << 8 |
                       static_cast<unsigned char>(bytes[i + 2]);
    out += kAlphabet[v >> 18];
    out += kAlphabet[(v >> 12) & 63];
    out += kAlphabet[(v >> 6) & 63];
    out += kAlphabet[v & 63];
  }
  if (i < bytes.size()) {
    unsigned v = static_cast<unsigned char>(bytes[i]) << 16;
    if (i + 1 < bytes.size()) v |= static_cast<unsigned char>(bytes[i + 1]) << 8;
    out += kAlphabet[v >> 18];
    out += kAlphabet[(v >> 12) & 63];
    out += i + 1 < bytes.size() ? kAlphabet[(v >> 6) & 63] : '=';
    out += '=';
  }
  return out;
}

std::string BuildIssueAddEnvelope(const MantisAccount& account, const MantisIssue& issue) {
  const std::string issueData =
      "<issue xsi:type=\"man:IssueData\">"
      "<project xsi:type=\"man:ObjectRef\">" +
      Element("name", "xsd:string", XmlText(issue.project)) + "</project>" +
      Element("category", "xsd:string", XmlText(issue.category)) +
      Element("summary", "xsd:string", XmlText(issue.summary)) +
      Element("description", "xsd:string", XmlText(issue.description)) + "</issue>";
  return Envelope("mc_issue_add", AccountParts(account) + issueData);
}

std::string BuildAttachmentAddEnvelope(const MantisAccount& account, std::int64_t issueId,
                                       const std::string& name, const std::string& fileType,
                                       std::string_view content) {
  return Envelope("mc_issue_attachment_add",
                  AccountParts(account) +
                      Element("issue_id", "xsd:integer", std::to_string(issueId)) +
                      Element("name", "xsd:string", XmlText(name)) +
                      Element("file_type", "xsd:string", XmlText(fileType)) +
                      Element("content", "xsd:base64Binary", Base64Encode(content)));
}

std::string BuildProjectIdEnvelope(const MantisAccount& account, const std::string& projectName) {
  return Envelope(
      "mc_project_get_id_from_name",
      AccountParts(account) + Element("project_name", "xsd:string", XmlText(projectName)));
}

std::string BuildOpenIssueSearchEnvelope(const MantisAccount& account, std::int64_t projectId,
                                         const std::string& search) {
  // The tracker hides every status from the one given on: 80 is "resolved",
  // after it comes only "closed".
  constexpr int kResolvedStatus = 80;
  constexpr int kPerPage = 50;
  const auto integers = [](const std::string& name, std::int64_t value) {
    return "<" + name + " xsi:type=\"man:IntegerArray\" SOAP-ENC:arrayType=\"xsd:integer[1]\">" +
           Element("item", "xsd:integer", std::to_string(value)) + "</" + name + ">";
  };
  const std::string filter = "<filter xsi:type=\"man:FilterSearchData\">" +
                             integers("project_id", projectId) +
                             Element("search", "xsd:string", XmlText(search)) +
                             integers("hide_status_id", kResolvedStatus) + "</filter>";
  return Envelope("mc_filter_search_issue_ids",
                  AccountParts(account) + filter + Element("page_number", "xsd:integer", "1") +
                      Element("per_page", "xsd:integer", std::to_string(kPerPage)));
}

std::string BuildNoteAddEnvelope(const MantisAccount& account, std::int64_t issueId,
                                 const std::string& text) {
  return Envelope("mc_issue_note_add",
                  AccountParts(account) +
                      Element("issue_id", "xsd:integer", std::to_string(issueId)) +
                      "<note xsi:type=\"man:IssueNoteData\">" +
                      Element("text", "xsd:string", XmlText(text)) + "</note>");
}

std::string SoapAction(const std::string& endpoint, const std::string& operation) {
  return "\"" + endpoint + "/" + operation + "\"";
}

std::int64_t ParseIntegerResponse(int statusCode, const std::string& body) {
  std::string text;
  if (FindElementText(body, "faultstring", text)) throw MantisError(DecodeEntities(text));
  if (FindElementText(body, "return", text)) {
    std::int64_t value = 0;
    const auto parsed = std::from_chars(text.data(), text.data() + text.size(), value);
    if (parsed.ec == std::errc() && parsed.ptr == text.data() + text.size()) return value;
  }
  throw MantisError("The bug tracker answered HTTP " + std::to_string(statusCode) +
                    " without a result");
}

std::vector<std::int64_t> ParseIntegerArrayResponse(int statusCode, const std::string& body) {
  std::string text;
  if (FindElementText(body, "faultstring", text)) throw MantisError(DecodeEntities(text));
  const std::size_t open = body.find("<return");
  const std::size_t tagEnd = open == std::string::npos ? open : body.find('>', open);
  if (tagEnd == std::string::npos)
    throw MantisError("The bug tracker answered HTTP " + std::to_string(statusCode) +
                      " without a result");
  std::vector<std::int64_t> values;
  if (body[tagEnd - 1] == '/') return values;
  const std::size_t close = body.find("</return>", tagEnd);
  if (close == std::string::npos) throw MantisError("The bug tracker's answer is cut short");
  const std::string items = body.substr(tagEnd + 1, close - tagEnd - 1);
  for (std::size_t at = 0; (at = items.find('<', at)) != std::string::npos;) {
    const std::size_t end = items.find('>', at);
    if (end == std::string::npos || items[at + 1] == '/' || items[end - 1] == '/') {
      at = end == std::string::npos ? items.size() : end;
      continue;
    }
    const std::size_t valueEnd = items.find('<', end);
    const std::string value = items.substr(end + 1, valueEnd - end - 1);
    std::int64_t number = 0;
    const auto parsed = std::from_chars(value.data(), value.data() + value.size(), number);
    if (parsed.ec != std::errc() || parsed.ptr != value.data() + value.size())
      throw MantisError("The bug tracker answered '" + value + "' where a number belongs");
    values.push_back(number);
    at = valueEnd;
  }
  return values;
}

}  // namespace rotalis::crash
