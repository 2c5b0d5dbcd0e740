#include "crash/MantisSubmitter.h"

namespace rotalis::crash {

MantisSubmitter::MantisSubmitter(net::HttpTransport& transport, const TCrashSettings& settings)
    : transport_(transport),
      endpoint_(settings.MantisEndpoint()),
      account_{settings.BugTrAccount, settings.BugTrPassword} {}

MantisSubmission MantisSubmitter::Submit(const MantisIssue& issue,
                                         const std::vector<MantisAttachment>& attachments) {
  MantisSubmission submission;
  submission.issueId = Call("mc_issue_add", BuildIssueAddEnvelope(account_, issue));
  for (const MantisAttachment& attachment : attachments) {
    try {
      Call("mc_issue_attachment_add",
           BuildAttachmentAddEnvelope(account_, submission.issueId, attachment.name,
                                      attachment.fileType, attachment.content));
    } catch (const std::exception& error) {
      submission.refused.push_back(attachment.name + ": " + error.what());
    }
  }
  return submission;
}

std::int64_t MantisSubmitter::Call(const std::string& operation, const std::string& envelope) {
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
  const net::HttpResponse response = transport_.Send(request);
  return ParseIntegerResponse(response.statusCode, response.body);
}

}  // namespace rotalis::crash
