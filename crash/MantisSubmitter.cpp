#include "crash/MantisSubmitter.h"

namespace rotalis::crash {

MantisSubmitter::MantisSubmitter(net::HttpTransport& transport, const TCrashSettings& settings)
    : transport_(transport),
      endpoint_(settings.MantisEndpoint()),
      account_{settings.BugTrAccount, settings.BugTrPassword} {}

namespace {

// "bugreport.txt" -> "bugreport-17.txt".
std::string WithSuffix(const std::string& name, const std::string& suffix) {
  const std::size_t dot = name.rfind('.');
  if (dot == std::string::npos || dot == 0) return name + suffix;
  return name.substr(0, dot) + suffix + name.substr(dot);
}

}  // namespace

MantisSubmission MantisSubmitter::Submit(const MantisIssue& issue,
                                         const std::vector<MantisAttachment>& attachments) {
  MantisSubmission submission;
  submission.issueId = Call("mc_issue_add", BuildIssueAddEnvelope(account_, issue));
  Attach(submission, attachments, "");
  return submission;
}

MantisSubmission MantisSubmitter::SubmitGrouped(const MantisIssue& issue,
                                                const std::vector<MantisAttachment>& attachments,
                                                const std::string& signature,
                                                const std::string& note) {
  if (signature.empty()) return Submit(issue, attachments);
  MantisSubmission submission;
  try {
    submission.issueId = OpenIssueWith(issue.project, signature);
    if (submission.issueId != 0)
      submission.noteId =
          Call("mc_issue_note_add", BuildNoteAddEnvelope(account_, submission.issueId, note));
  } catch (const MantisError&) {
    // Refused: the report goes as an issue of its own, never lost to grouping.
    submission.noteId = 0;
  }
  if (submission.noteId == 0) return Submit(issue, attachments);
  Attach(submission, attachments, "-" + std::to_string(submission.noteId));
  return submission;
}

std::int64_t MantisSubmitter::OpenIssueWith(const std::string& project,
                                            const std::string& signature) {
  const std::int64_t projectId =
      Call("mc_project_get_id_from_name", BuildProjectIdEnvelope(account_, project));
  if (projectId <= 0) return 0;
  const net::HttpResponse response = Exchange(
      "mc_filter_search_issue_ids", BuildOpenIssueSearchEnvelope(account_, projectId, signature));
  const std::vector<std::int64_t> found =
      ParseIntegerArrayResponse(response.statusCode, response.body);
  std::int64_t oldest = 0;
  for (const std::int64_t id : found) {
    if (id > 0 && (oldest == 0 || id < oldest)) oldest = id;
  }
  return oldest;
}

void MantisSubmitter::Attach(MantisSubmission& submission,
                             const std::vector<MantisAttachment>& attachments,
                             const std::string& suffix) {
  for (const MantisAttachment& attachment : attachments) {
    const std::string name = WithSuffix(attachment.name, suffix);
    try {
      Call("mc_issue_attachment_add",
           BuildAttachmentAddEnvelope(account_, submission.issueId, name, attachment.fileType,
                                      attachment.content));
    } catch (const std::exception& error) {
      submission.refused.push_back(name + ": " + error.what());
    }
  }
}

std::int64_t MantisSubmitter::Call(const std::string& operation, const std::string& envelope) {
  const net::HttpResponse response = Exchange(operation, envelope);
  return ParseIntegerResponse(response.statusCode, response.body);
}

net::HttpResponse MantisSubmitter::Exchange(const std::string& operation,
                                            const std::string& envelope) {
  net::HttpRequest request;
  request.method = "POST";
  request.url = endpoint_;
  request.headers = {{"Content-Type", "text/xml; charset=utf-8"},
                     {"SOAPAction", SoapAction(endpoint_, operation)}};
  request.body = envelope;
  // The user waits in front of a crashed program: do not let a dead tracker
  // keep the dialog away for long.
  request.connectTimeoutMs = 5000;
  request.readTimeoutMs = 20000;
  return transport_.Send(request);
}

}  // namespace rotalis::crash
