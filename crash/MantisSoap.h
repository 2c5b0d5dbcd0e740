#pragma once
// The calls of the Mantis tracker's SOAP API (SOAP 1.1, rpc/encoded) that a
// bug report needs, as text in and text out: building a request envelope and
// reading the integer (or integers) a call returns. No network here;
// MantisSubmitter sends.

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Exception.h"

namespace rotalis::crash {

inline constexpr const char* kMantisNamespace = "http://futureware.biz/mantisconnect";

// A fault the tracker answered with ("Access denied", "Category 'X' not found."),
// or an answer that is no SOAP response at all.
class MantisError : public Exception {
 public:
  using Exception::Exception;
};

struct MantisAccount {
  std::string username;
  std::string password;
};

struct MantisIssue {
  std::string project;  // by name
  std::string category;
  std::string summary;
  std::string description;
};

// mc_issue_add(username, password, issue)
std::string BuildIssueAddEnvelope(const MantisAccount& account, const MantisIssue& issue);

// mc_issue_attachment_add(username, password, issue_id, name, file_type, content);
// content is the raw bytes, sent as base64.
std::string BuildAttachmentAddEnvelope(const MantisAccount& account, std::int64_t issueId,
                                       const std::string& name, const std::string& fileType,
                                       std::string_view content);

// mc_project_get_id_from_name(username, password, project_name)
std::string BuildProjectIdEnvelope(const MantisAccount& account, const std::string& projectName);

// mc_filter_search_issue_ids(username, password, filter, page_number, per_page):
// the first page of issues of the project whose text holds `search`, resolved
// and closed ones left out.
std::string BuildOpenIssueSearchEnvelope(const MantisAccount& account, std::int64_t projectId,
                                         const std::string& search);

// mc_issue_note_add(username, password, issue_id, note) with the note's text.
std::string BuildNoteAddEnvelope(const MantisAccount& account, std::int64_t issueId,
                                 const std::string& text);

// The SOAPAction header value of an operation at that endpoint.
std::string SoapAction(const std::string& endpoint, const std::string& operation);

// The integer inside <return> of a response. A <faultstring> anywhere (the
// tracker sends faults with status 500 and also with 200) raises MantisError
// with its text; so does a body without either.
std::int64_t ParseIntegerResponse(int statusCode, const std::string& body);

// The integers of the array inside <return>, in order; faults as above.
std::vector<std::int64_t> ParseIntegerArrayResponse(int statusCode, const std::string& body);

// Text made safe for an XML element: markup escaped, carriage returns kept as
// character references, bytes that are not valid UTF-8 or not allowed in XML
// replaced by '?'.
std::string XmlText(std::string_view text);
// The characters the tracker receives of a text sent through XmlText: every
// byte XmlText replaces is '?', nothing is escaped.
std::string SendableText(std::string_view text);

std::string Base64Encode(std::string_view bytes);

}  // namespace rotalis::crash
