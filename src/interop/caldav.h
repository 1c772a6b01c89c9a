// The little of WebDAV and CalDAV a sync needs, over libcurl: list a
// collection's objects with their ETags and data (REPORT calendar-query),
// put and delete one object under ETag preconditions, make a collection.
#pragma once

#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace orncal::interop {

// The server could not be reached, or answered what a sync cannot go on
// from. The text never holds the password.
class SyncError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

struct RemoteObject {
  // The path of the object on the server, as the server names it.
  std::string Href;
  std::string ETag;
  std::string Data;
};

// One object of a multistatus answer.
struct DavResponse {
  std::string Href;
  std::string ETag;
  std::string CalendarData;
};

// The responses of a 207 multistatus body: every <response> with its href,
// getetag and calendar-data, whatever the namespace prefixes; entities and
// CDATA decoded. Malformed XML raises SyncError.
std::vector<DavResponse> ParseMultistatus(std::string_view xml);

class DavClient {
 public:
  // `collection` is the collection's URL; user and password may be empty
  // (no authentication).
  DavClient(std::string collection, std::string user, std::string password);
  ~DavClient();
  DavClient(const DavClient&) = delete;
  DavClient& operator=(const DavClient&) = delete;

  // Every object of the collection; nullopt when the server has no
  // collection at the URL (404).
  std::optional<std::vector<RemoteObject>> List();
  // MKCALENDAR at the URL.
  void MakeCalendar();

  enum class Outcome { kDone, kPreconditionFailed, kGone };
  struct PutResult {
    Outcome outcome = Outcome::kDone;
    // The object's new ETag (empty when the server gave none).
    std::string ETag;
  };
  // Creates (ifMatch empty: If-None-Match: *) or replaces (If-Match) an
  // object.
  PutResult Put(const std::string& href, const std::string& data, const std::string& ifMatch);
  // Deletes an object if its ETag is still `ifMatch`.
  Outcome Delete(const std::string& href, const std::string& ifMatch);

  // Where a new object for a UID is put: the collection's path and a file
  // name made from the UID.
  std::string HrefFor(const std::string& uid) const;

 private:
  struct Reply {
    long status = 0;
    std::string body;
    std::string etag;
  };
  Reply Send(const std::string& method, const std::string& href, const std::string& body,
             const std::vector<std::string>& headers);
  // The URL of an href (a path on the same server, or a whole URL).
  std::string UrlOf(const std::string& href) const;

  std::string collection_;
  std::string origin_;
  std::string path_;
  std::string user_;
  std::string password_;
  void* curl_ = nullptr;
};

}  // namespace orncal::interop
