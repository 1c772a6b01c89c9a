// The wire protocol between the calendars and the notifier OrnCalNtf,
// shared by the library and the notifier.
//
// A connection carries frames: a header of four little-endian u32 (magic,
// protocol version, frame type, payload length) and the payload, at most
// kMaxPayload bytes. Numbers in payloads are little-endian 32-bit; a
// string is a u32 count and that many bytes.
//
//   calendar -> notifier
//     Register    i32 instance, string path (UTF-8)
//     Notify      u32 seq, message          seq 0: no answer wanted
//     Ack         u32 token                 the callback is handled
//   notifier -> calendar
//     Registered  i32 instance, u32 wait    the InstanceID to use; how long
//                                           the notifier waits for a peer (ms)
//     Callback    u32 token, message        token 0: no Ack wanted
//     Done        u32 seq, u32 missed       every peer handled the Notify
//                                           (missed: how many did not in time)
//
//   message = u32 kind, i32 instance, string path (UTF-8), then by kind
//     BeforeLoadFile, Saved            i32 FileLong of the month
//     DoChange, DoDelete, DoWrite      i32 File, string record: the month-file
//                                      record (current version) of the
//                                      appointment, its texts Windows-1252
//     DoAddTask, DoChangeTask,         string record: the task-file record
//     DoDeleteTask                     (current version), with its reminder
//     every other kind                 nothing
//
// Every field is checked on arrival: a frame that is malformed in any way
// breaks the connection that sent it.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "orncalendar/fwd.h"
#include "orncalendar/task_file.h"

namespace orncal::core::protocol {

inline constexpr uint32_t kMagic = 0x464E524F;  // the bytes "ORNF"
inline constexpr uint32_t kVersion = 1;
inline constexpr size_t kHeaderSize = 16;
inline constexpr uint32_t kMaxPayload = 16u << 20;
inline constexpr size_t kMaxPath = 4096;

enum class FrameType : uint32_t {
  kRegister = 1,
  kNotify = 2,
  kAck = 3,
  kRegistered = 11,
  kCallback = 12,
  kDone = 13,
};

// What a message is about, named as the callback the other calendars get.
enum class Kind : uint32_t {
  kAnythingChanged = 1,
  kBeforeLoadFile = 2,
  kBeforeLoadTasks = 3,
  kCategoriesChanged = 4,
  kDoAddTask = 5,
  kDoChange = 6,
  kDoChangeTask = 7,
  kDoDelete = 8,
  kDoDeleteTask = 9,
  kDoWrite = 10,
  kNewLoaded = 11,  // sent by the notifier only, when a calendar registers
  kSaved = 12,
  kSRTChanged = 13,
  kTasksSaved = 14,
  kFlush = 15,  // no effect: answered once the messages before it are handled
};

const char* KindName(Kind kind);

struct Message {
  Kind kind = Kind::kAnythingChanged;
  int32_t instance = 0;
  std::string path;
  // The month (BeforeLoadFile, Saved) or the appointment's File (DoChange,
  // DoDelete, DoWrite).
  int32_t file_long = 0;
  // DoChange, DoDelete, DoWrite: the appointment, its File and ID set.
  AppointmentRealPtr appointment;
  // DoAddTask, DoChangeTask, DoDeleteTask.
  TaskFileRecord task;
};

// The encodings of a message.
std::string EncodeMessage(Kind kind, int32_t instance, std::string_view path);
std::string EncodeFileMessage(Kind kind, int32_t instance, int32_t fileLong, std::string_view path);
// Raises orncal::Error for an appointment that cannot be written.
std::string EncodeAppointmentMessage(Kind kind, int32_t instance, const Appointment& appointment,
                                     std::string_view path);
std::string EncodeTaskMessage(Kind kind, int32_t instance, const TaskFileRecord& task,
                              std::string_view path);

// Whole frames. Error 6 for a payload above kMaxPayload.
std::string EncodeRegister(int32_t instance, std::string_view path);
std::string EncodeNotify(uint32_t seq, std::string_view message);
std::string EncodeAck(uint32_t token);
std::string EncodeRegistered(int32_t instance, uint32_t waitMs);
std::string EncodeCallback(uint32_t token, std::string_view message);
std::string EncodeDone(uint32_t seq, uint32_t missed);

struct Frame {
  FrameType type = FrameType::kRegister;
  std::string payload;
};

// Cuts the bytes of a connection into frames. A header that is not one of
// this protocol, or announces more than kMaxPayload, breaks the stream
// for good; nothing beyond one frame is ever held.
class FrameReader {
 public:
  void Append(std::string_view bytes);
  // Takes the next whole frame; false when more bytes are needed or the
  // stream is broken.
  bool Next(Frame* frame);
  bool Broken() const { return !problem_.empty(); }
  const std::string& Problem() const { return problem_; }
  // Whether bytes of an unfinished frame are held.
  bool Partial() const { return !buffer_.empty() && !Broken(); }

 private:
  void CheckHeader();

  std::string buffer_;
  size_t need_ = 0;  // the size of the frame being read, once its header is in
  std::string problem_;
};

// A frame with its fields read and checked.
struct Decoded {
  FrameType type = FrameType::kRegister;
  int32_t instance = 0;  // Register, Registered
  std::string path;      // Register
  uint32_t number = 0;   // seq (Notify, Done), token (Callback, Ack), wait (Registered)
  uint32_t missed = 0;   // Done
  Message message;       // Notify, Callback
  // The message as it was sent (Notify, Callback): a view into the frame's
  // payload, passed on unchanged.
  std::string_view message_bytes;
};

// Which side may send a frame: a calendar reading a Register, or the
// notifier a Callback, has a broken peer.
enum class Sender { kCalendar, kNotifier };

// Reads and checks every field of a frame sent by `from`; false (with
// `problem` said) for anything malformed. `decoded` refers to the frame.
bool DecodeFrame(const Frame& frame, Sender from, Decoded* decoded, std::string* problem);

}  // namespace orncal::core::protocol
