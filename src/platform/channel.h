// The transport between the calendars of a user's processes and the
// notifier OrnCalNtf that relays their changes: a per-user endpoint that
// only that user can reach, non-blocking connections on it, the notifier's
// listening end, waiting on several connections, starting the notifier as
// a process of its own, and the descriptor a client's event loop waits on.
//
// On POSIX this is a Unix-domain stream socket in a private folder, with
// the peer's credentials checked on both ends. On Windows it is a named
// pipe per user (the `socket` of the endpoint is the pipe's name) that
// only that user may open, the process at the other end checked on both
// ends; descriptors there are event handles that stay set while ready.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/status.h"

namespace orncal::platform {

bool NotifierTransportAvailable();

// The outcome of a non-blocking transfer.
enum class Io {
  kDone,        // something was transferred (or, for Wait, the channel is ready)
  kWouldBlock,  // nothing can be transferred now (for Wait: the time ran out)
  kClosed,      // the peer has gone
  kFailed,      // the connection broke
};

// One end of a connection between a calendar and the notifier. Nothing
// blocks except Wait.
class Channel {
 public:
  virtual ~Channel() = default;
  // Writes as much of `data` as the connection takes now.
  virtual Io Send(std::string_view data, size_t* written) = 0;
  // Reads what has arrived, at most `capacity` bytes.
  virtual Io Receive(char* buffer, size_t capacity, size_t* received) = 0;
  // Waits until the channel can be read (or, with `writable`, written) or
  // `timeout_ms` milliseconds have passed (-1: no limit). kClosed when the
  // peer hung up.
  virtual Io Wait(bool writable, int timeout_ms) = 0;
  // What PollItems and event loops wait on.
  virtual intptr_t Descriptor() const = 0;
  // The peer's process number as the system reported it at connection, 0
  // when unknown (for log lines).
  virtual int64_t PeerProcess() const = 0;
};

// Where a user's notifier listens. `folder` is private to the user: made
// with no access for others when missing, and refused when it is a
// symbolic link, no folder or another user's.
struct NotifierEndpoint {
  std::string folder;
  std::string socket;  // the notifier listens here
  std::string lock;    // held by the running notifier (it writes its process number in)
  std::string log;     // the standard error of a notifier started on demand
};
// $XDG_RUNTIME_DIR/orncalendar when that is set (an absolute path), else
// /tmp/orncalendar-<uid>.
Status FindNotifierEndpoint(NotifierEndpoint* endpoint);

// Connects to the notifier listening at `socket`. Fails when nothing
// listens there or the listener runs as another user.
Status ConnectChannel(const std::string& socket, std::unique_ptr<Channel>* channel);

// The notifier's listening end. Destroying it removes the socket and
// gives up the lock.
class Listener {
 public:
  virtual ~Listener() = default;
  virtual intptr_t Descriptor() const = 0;
  // Takes one waiting connection (kWouldBlock when there is none). A peer
  // running as another user is closed at once: kDone with no channel and
  // `refused` saying who it was.
  virtual Io Accept(std::unique_ptr<Channel>* channel, std::string* refused) = 0;
};

// Takes the endpoint's lock, waiting up to `lockWaitMs` for a notifier on
// its way out, replaces a socket left behind by one that died, and listens.
// *otherRunning is set when another notifier holds the lock.
Status Listen(const NotifierEndpoint& endpoint, int lockWaitMs, std::unique_ptr<Listener>* listener,
              bool* otherRunning);

// Waiting on several descriptors at once.
struct PollItem {
  intptr_t descriptor = -1;
  bool want_write = false;
  bool readable = false;  // also set on hang-up and errors, so the reader finds out
  bool writable = false;
};
// Waits until one of the items is ready or `timeout_ms` passed (-1: no
// limit); false when waiting itself failed.
bool PollItems(std::vector<PollItem>& items, int timeout_ms);

// Starts `program` with `arguments` as a process of its own that outlives
// this one (in a new session, standard input and output on the null
// device, standard error appended to `errorLog`). Success says only that
// it was started.
Status SpawnDetached(const std::string& program, const std::vector<std::string>& arguments,
                     const std::string& errorLog);
bool IsExecutableFile(const std::string& path);
// The file name of the program `name` (with ".exe" on Windows).
std::string ProgramFile(std::string_view name);
// The first executable `name` in the folders of PATH, or "".
std::string FindProgramOnPath(std::string_view name);

// For the notifier's own process: sets `*stop` when the process is asked to
// end (SIGTERM or SIGINT; on Windows a console's Ctrl+C or close), and
// keeps writes to a connection that broke from ending it.
void HandleStopRequests(volatile bool* stop);
// Empties the standard error when it is a file larger than `bytes`.
void TrimErrorLog(int64_t bytes);

// An environment variable of this process.
std::optional<std::string> GetEnv(const std::string& name);

// The descriptor a client's event loop waits on for its notifier link: it
// is readable while the watched connection has data, while messages wait
// that were read already, and once a set time has come. It stays the same
// for the life of the object, whatever connection it watches.
class WakeSource {
 public:
  virtual ~WakeSource() = default;
  virtual intptr_t Descriptor() const = 0;
  // The connection to watch (-1: none).
  virtual void Watch(intptr_t descriptor) = 0;
  // Readable while `pending` is true.
  virtual void SetPending(bool pending) = 0;
  // Readable from `ms` milliseconds on, until Wake is called again (-1:
  // not at all).
  virtual void WakeAfter(int ms) = 0;
};
// nullptr where the system has no such descriptor.
std::unique_ptr<WakeSource> NewWakeSource();

}  // namespace orncal::platform
