#include "interop/caldav.h"

#include <curl/curl.h>

#include <algorithm>
#include <cctype>
#include <cstring>

#include "interop/identity.h"

namespace orncal::interop {
namespace {

// Larger answers are refused rather than held.
constexpr size_t kMaxBody = size_t{256} << 20;

// What of a URL may be shown: without any user and password in it.
std::string Shown(const std::string& url) {
  const size_t scheme = url.find("://");
  if (scheme == std::string::npos) return url;
  const size_t host = scheme + 3;
  const size_t slash = url.find('/', host);
  const size_t at = url.rfind('@', slash == std::string::npos ? url.size() : slash);
  if (at == std::string::npos || at < host) return url;
  return url.substr(0, host) + url.substr(at + 1);
}

std::string LocalName(std::string_view name) {
  const size_t colon = name.find(':');
  std::string local(colon == std::string_view::npos ? name : name.substr(colon + 1));
  for (char& c : local)
    c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return local;
}

std::string DecodeEntities(std::string_view text) {
  std::string out;
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '&') {
      out += text[i];
      continue;
    }
    const size_t end = text.find(';', i);
    if (end == std::string_view::npos || end - i > 10)
      throw SyncError("the server's XML has a broken entity");
    const std::string_view name = text.substr(i + 1, end - i - 1);
    if (name == "lt")
      out += '<';
    else if (name == "gt")
      out += '>';
    else if (name == "amp")
      out += '&';
    else if (name == "quot")
      out += '"';
    else if (name == "apos")
      out += '\'';
    else if (name.starts_with("#")) {
      unsigned long cp = 0;
      const bool hex = name.size() > 1 && (name[1] == 'x' || name[1] == 'X');
      const std::string digits(name.substr(hex ? 2 : 1));
      char* stop = nullptr;
      cp = std::strtoul(digits.c_str(), &stop, hex ? 16 : 10);
      if (digits.empty() || !stop || *stop || cp > 0x10FFFF)
        throw SyncError("the server's XML has a broken character reference");
      if (cp < 0x80) {
        out += static_cast<char>(cp);
      } else if (cp < 0x800) {
        out += static_cast<char>(0xC0 | (cp >> 6));
        out += static_cast<char>(0x80 | (cp & 0x3F));
      } else if (cp < 0x10000) {
        out += static_cast<char>(0xE0 | (cp >> 12));
        out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (cp & 0x3F));
      } else {
        out += static_cast<char>(0xF0 | (cp >> 18));
        out += static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (cp & 0x3F));
      }
    } else {
      throw SyncError("the server's XML has an unknown entity");
    }
    i = end;
  }
  return out;
}

size_t Collect(char* data, size_t size, size_t count, void* into) {
  auto* body = static_cast<std::string*>(into);
  const size_t bytes = size * count;
  if (body->size() + bytes > kMaxBody) return 0;
  body->append(data, bytes);
  return bytes;
}

size_t Header(char* data, size_t size, size_t count, void* into) {
  const size_t bytes = size * count;
  std::string_view line(data, bytes);
  if (line.size() > 5 && (line[0] == 'E' || line[0] == 'e')) {
    std::string lower(line.substr(0, 5));
    for (char& c : lower)
      c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    if (lower == "etag:") {
      std::string_view value = line.substr(5);
      while (!value.empty() && (value.front() == ' ' || value.front() == '\t'))
        value.remove_prefix(1);
      while (!value.empty() &&
             (value.back() == '\r' || value.back() == '\n' || value.back() == ' '))
        value.remove_suffix(1);
      *static_cast<std::string*>(into) = std::string(value);
    }
  }
  return bytes;
}

struct CurlGlobal {
  CurlGlobal() { curl_global_init(CURL_GLOBAL_DEFAULT); }
  ~CurlGlobal() { curl_global_cleanup(); }
};

}  // namespace

std::vector<DavResponse> ParseMultistatus(std::string_view xml) {
  std::vector<DavResponse> responses;
  std::vector<std::string> open;
  std::string text;
  DavResponse* current = nullptr;
  for (size_t i = 0; i < xml.size();) {
    if (xml[i] != '<') {
      const size_t next = std::min(xml.find('<', i), xml.size());
      text += DecodeEntities(xml.substr(i, next - i));
      i = next;
      continue;
    }
    if (xml.substr(i).starts_with("<![CDATA[")) {
      const size_t end = xml.find("]]>", i);
      if (end == std::string_view::npos)
        throw SyncError("the server's XML has an open CDATA section");
      text += xml.substr(i + 9, end - i - 9);
      i = end + 3;
      continue;
    }
    if (xml.substr(i).starts_with("<!--")) {
      const size_t end = xml.find("-->", i);
      if (end == std::string_view::npos) throw SyncError("the server's XML has an open comment");
      i = end + 3;
      continue;
    }
    const size_t end = xml.find('>', i);
    if (end == std::string_view::npos) throw SyncError("the server's XML has an open tag");
    std::string_view tag = xml.substr(i + 1, end - i - 1);
    i = end + 1;
    if (tag.starts_with("?") || tag.starts_with("!")) continue;
    if (tag.starts_with("/")) {
      const std::string name = LocalName(tag.substr(1, tag.find_first_of(" \t\r\n") - 1));
      if (open.empty() || open.back() != name)
        throw SyncError("the server's XML closes <" + name + "> that is not open");
      open.pop_back();
      if (current) {
        if (name == "href" && !open.empty() && open.back() == "response")
          current->Href = text;
        else if (name == "getetag")
          current->ETag = text;
        else if (name == "calendar-data")
          current->CalendarData = text;
        else if (name == "response")
          current = nullptr;
      }
      text.clear();
      continue;
    }
    const bool empty = tag.ends_with("/");
    if (empty) tag.remove_suffix(1);
    const std::string name = LocalName(tag.substr(0, tag.find_first_of(" \t\r\n")));
    text.clear();
    if (empty) continue;
    open.push_back(name);
    if (name == "response") {
      responses.emplace_back();
      current = &responses.back();
    }
  }
  if (!open.empty()) throw SyncError("the server's XML ends inside <" + open.back() + ">");
  return responses;
}

DavClient::DavClient(std::string collection, std::string user, std::string password)
    : collection_(std::move(collection)), user_(std::move(user)), password_(std::move(password)) {
  static CurlGlobal global;
  if (!collection_.ends_with("/")) collection_ += '/';
  const size_t scheme = collection_.find("://");
  const size_t slash =
      scheme == std::string::npos ? std::string::npos : collection_.find('/', scheme + 3);
  if (slash == std::string::npos) throw SyncError("'" + Shown(collection_) + "' is no URL");
  origin_ = collection_.substr(0, slash);
  path_ = collection_.substr(slash);
  curl_ = curl_easy_init();
  if (!curl_) throw SyncError("the HTTP library could not be started");
}

DavClient::~DavClient() {
  if (curl_) curl_easy_cleanup(static_cast<CURL*>(curl_));
}

std::string DavClient::UrlOf(const std::string& href) const {
  if (href.starts_with("http://") || href.starts_with("https://")) {
    // The user's password goes to the collection's own server only: an
    // object the server places on another host or scheme is not followed.
    const auto lower = [](std::string text) {
      for (char& c : text)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
      return text;
    };
    if (!lower(href.substr(0, origin_.size() + 1)).starts_with(lower(origin_ + "/"))) {
      throw SyncError("the server named " + Shown(href) + ", outside " + Shown(origin_) +
                      "; it is not followed");
    }
    return href;
  }
  if (href.starts_with("/")) return origin_ + href;
  return collection_ + href;
}

std::string DavClient::HrefFor(const std::string& uid) const {
  bool plain = !uid.empty() && uid.size() <= 120;
  for (char c : uid)
    plain =
        plain && (std::isalnum(static_cast<unsigned char>(c)) || c == '-' || c == '_' || c == '.');
  return path_ + (plain ? uid : Digest(uid)) + ".ics";
}

DavClient::Reply DavClient::Send(const std::string& method, const std::string& href,
                                 const std::string& body, const std::vector<std::string>& headers) {
  CURL* curl = static_cast<CURL*>(curl_);
  curl_easy_reset(curl);
  Reply reply;
  const std::string url = UrlOf(href);
  curl_slist* list = nullptr;
  for (const std::string& header : headers)
    list = curl_slist_append(list, header.c_str());
  curl_easy_setopt(curl, CURLOPT_URL, url.c_str());
  curl_easy_setopt(curl, CURLOPT_CUSTOMREQUEST, method.c_str());
  curl_easy_setopt(curl, CURLOPT_HTTPHEADER, list);
  curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(curl, CURLOPT_VERBOSE, 0L);
  curl_easy_setopt(curl, CURLOPT_CONNECTTIMEOUT, 10L);
  curl_easy_setopt(curl, CURLOPT_TIMEOUT, 120L);
  curl_easy_setopt(curl, CURLOPT_PROTOCOLS_STR, "http,https");
  if (!body.empty() || method == "PUT") {
    curl_easy_setopt(curl, CURLOPT_POSTFIELDS, body.data());
    curl_easy_setopt(curl, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(body.size()));
  }
  if (!user_.empty()) {
    curl_easy_setopt(curl, CURLOPT_HTTPAUTH, CURLAUTH_BASIC);
    curl_easy_setopt(curl, CURLOPT_USERNAME, user_.c_str());
    curl_easy_setopt(curl, CURLOPT_PASSWORD, password_.c_str());
  }
  curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, Collect);
  curl_easy_setopt(curl, CURLOPT_WRITEDATA, &reply.body);
  curl_easy_setopt(curl, CURLOPT_HEADERFUNCTION, Header);
  curl_easy_setopt(curl, CURLOPT_HEADERDATA, &reply.etag);
  const CURLcode code = curl_easy_perform(curl);
  curl_slist_free_all(list);
  if (code != CURLE_OK) {
    throw SyncError(method + " " + Shown(url) + " failed: " + curl_easy_strerror(code));
  }
  curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &reply.status);
  if (reply.status == 401 || reply.status == 403) {
    throw SyncError(method + " " + Shown(url) + ": the server refused the user or password (" +
                    std::to_string(reply.status) + ")");
  }
  return reply;
}

std::optional<std::vector<RemoteObject>> DavClient::List() {
  static const std::string kQuery =
      "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
      "<C:calendar-query xmlns:D=\"DAV:\" xmlns:C=\"urn:ietf:params:xml:ns:caldav\">"
      "<D:prop><D:getetag/><C:calendar-data/></D:prop>"
      "<C:filter><C:comp-filter name=\"VCALENDAR\"/></C:filter>"
      "</C:calendar-query>";
  const Reply reply =
      Send("REPORT", path_, kQuery, {"Depth: 1", "Content-Type: application/xml; charset=utf-8"});
  if (reply.status == 404) return std::nullopt;
  if (reply.status != 207) {
    throw SyncError("REPORT " + Shown(collection_) + ": the server answered " +
                    std::to_string(reply.status));
  }
  std::vector<RemoteObject> objects;
  for (DavResponse& r : ParseMultistatus(reply.body)) {
    if (r.CalendarData.empty() || r.Href.empty()) continue;
    UrlOf(r.Href);  // refuses, at once, an object the sync could not write back
    objects.push_back({std::move(r.Href), std::move(r.ETag), std::move(r.CalendarData)});
  }
  return objects;
}

void DavClient::MakeCalendar() {
  const Reply reply = Send("MKCALENDAR", path_, "", {});
  if (reply.status != 201) {
    throw SyncError("MKCALENDAR " + Shown(collection_) + ": the server answered " +
                    std::to_string(reply.status));
  }
}

DavClient::PutResult DavClient::Put(const std::string& href, const std::string& data,
                                    const std::string& ifMatch) {
  const Reply reply =
      Send("PUT", href, data,
           {"Content-Type: text/calendar; charset=utf-8",
            ifMatch.empty() ? std::string("If-None-Match: *") : "If-Match: " + ifMatch});
  if (reply.status == 412) return {Outcome::kPreconditionFailed, ""};
  if (reply.status == 404) return {Outcome::kGone, ""};
  if (reply.status < 200 || reply.status > 299) {
    throw SyncError("PUT " + Shown(UrlOf(href)) + ": the server answered " +
                    std::to_string(reply.status));
  }
  return {Outcome::kDone, reply.etag};
}

DavClient::Outcome DavClient::Delete(const std::string& href, const std::string& ifMatch) {
  std::vector<std::string> headers;
  if (!ifMatch.empty()) headers.push_back("If-Match: " + ifMatch);
  const Reply reply = Send("DELETE", href, "", headers);
  if (reply.status == 412) return Outcome::kPreconditionFailed;
  if (reply.status == 404 || reply.status == 410) return Outcome::kGone;
  if (reply.status < 200 || reply.status > 299) {
    throw SyncError("DELETE " + Shown(UrlOf(href)) + ": the server answered " +
                    std::to_string(reply.status));
  }
  return Outcome::kDone;
}

}  // namespace orncal::interop
