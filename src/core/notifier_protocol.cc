#include "core/notifier_protocol.h"

#include <limits>

#include "orncalendar/appointment.h"
#include "orncalendar/error.h"
#include "store/month_file_format.h"
#include "tasks/task_file_format.h"

namespace orncal::core::protocol {
namespace {

struct Bad {
  std::string what;
};

void PutU32(std::string& out, uint32_t v) {
  const char bytes[4] = {static_cast<char>(v), static_cast<char>(v >> 8),
                         static_cast<char>(v >> 16), static_cast<char>(v >> 24)};
  out.append(bytes, 4);
}

void PutString(std::string& out, std::string_view text) {
  if (text.size() > kMaxPayload) throw Error(ErrorNumber::kOverflow);
  PutU32(out, static_cast<uint32_t>(text.size()));
  out.append(text);
}

uint32_t GetU32(std::string_view bytes) {
  uint32_t v = 0;
  for (int i = 3; i >= 0; --i)
    v = (v << 8) | static_cast<uint8_t>(bytes[static_cast<size_t>(i)]);
  return v;
}

std::string FrameBytes(FrameType type, std::string_view payload) {
  if (payload.size() > kMaxPayload) throw Error(ErrorNumber::kOverflow);
  std::string out;
  out.reserve(kHeaderSize + payload.size());
  PutU32(out, kMagic);
  PutU32(out, kVersion);
  PutU32(out, static_cast<uint32_t>(type));
  PutU32(out, static_cast<uint32_t>(payload.size()));
  out.append(payload);
  return out;
}

std::string Head(Kind kind, int32_t instance, std::string_view path) {
  std::string out;
  PutU32(out, static_cast<uint32_t>(kind));
  PutU32(out, static_cast<uint32_t>(instance));
  PutString(out, path);
  return out;
}

// Reads the fields of a payload front to back; throws Bad when one
// reaches beyond the end.
class Reader {
 public:
  explicit Reader(std::string_view bytes) : rest_(bytes) {}

  uint32_t U32(const char* what) {
    if (rest_.size() < 4) throw Bad{"the payload ends inside " + std::string(what)};
    const uint32_t v = GetU32(rest_);
    rest_.remove_prefix(4);
    return v;
  }
  int32_t I32(const char* what) { return static_cast<int32_t>(U32(what)); }

  std::string_view String(const char* what, size_t limit) {
    const uint32_t n = U32(what);
    if (n > limit) {
      throw Bad{std::string(what) + " of " + std::to_string(n) + " bytes is too long"};
    }
    if (n > rest_.size()) {
      throw Bad{std::string(what) + " of " + std::to_string(n) +
                " bytes reaches beyond the payload"};
    }
    std::string_view text = rest_.substr(0, n);
    rest_.remove_prefix(n);
    return text;
  }

  std::string_view Rest() const { return rest_; }
  size_t Offset(std::string_view whole) const { return whole.size() - rest_.size(); }

  void End() const {
    if (!rest_.empty()) throw Bad{std::to_string(rest_.size()) + " bytes too many"};
  }

 private:
  std::string_view rest_;
};

// Well-formed UTF-8 without NUL characters (a data folder's path).
bool IsPlainUtf8(std::string_view text) {
  size_t i = 0;
  while (i < text.size()) {
    const auto c = static_cast<uint8_t>(text[i]);
    size_t more;
    uint32_t code;
    if (c == 0) return false;
    if (c < 0x80) {
      ++i;
      continue;
    } else if (c >= 0xC2 && c <= 0xDF) {
      more = 1, code = c & 0x1F;
    } else if (c >= 0xE0 && c <= 0xEF) {
      more = 2, code = c & 0x0F;
    } else if (c >= 0xF0 && c <= 0xF4) {
      more = 3, code = c & 0x07;
    } else {
      return false;
    }
    if (i + more >= text.size()) return false;
    for (size_t k = 1; k <= more; ++k) {
      const auto next = static_cast<uint8_t>(text[i + k]);
      if ((next & 0xC0) != 0x80) return false;
      code = (code << 6) | (next & 0x3F);
    }
    // Overlong forms, surrogates and numbers beyond Unicode.
    if ((more == 2 && code < 0x800) || (more == 3 && (code < 0x10000 || code > 0x10FFFF)) ||
        (code >= 0xD800 && code <= 0xDFFF)) {
      return false;
    }
    i += more + 1;
  }
  return true;
}

std::string CheckedPath(Reader& in) {
  std::string_view path = in.String("the path", kMaxPath);
  if (!IsPlainUtf8(path)) throw Bad{"the path is not plain UTF-8"};
  return std::string(path);
}

bool HasFile(Kind kind) { return kind == Kind::kBeforeLoadFile || kind == Kind::kSaved; }

bool HasAppointment(Kind kind) {
  return kind == Kind::kDoChange || kind == Kind::kDoDelete || kind == Kind::kDoWrite;
}

bool HasTask(Kind kind) {
  return kind == Kind::kDoAddTask || kind == Kind::kDoChangeTask || kind == Kind::kDoDeleteTask;
}

Message ReadMessage(Reader& in, Sender from) {
  Message m;
  const uint32_t kind = in.U32("the kind");
  if (kind < static_cast<uint32_t>(Kind::kAnythingChanged) ||
      kind > static_cast<uint32_t>(Kind::kFlush)) {
    throw Bad{"unknown message kind " + std::to_string(kind)};
  }
  m.kind = static_cast<Kind>(kind);
  if (m.kind == Kind::kNewLoaded && from == Sender::kCalendar) {
    throw Bad{"a calendar sent NewLoaded"};
  }
  m.instance = in.I32("the instance");
  m.path = CheckedPath(in);
  if (HasFile(m.kind)) {
    m.file_long = in.I32("the month");
  } else if (HasAppointment(m.kind)) {
    m.file_long = in.I32("the appointment's file");
    std::string_view record = in.String("the appointment", kMaxPayload);
    std::string problem;
    m.appointment = store::DecodeAppointmentRecord(record, m.file_long, &problem);
    if (!m.appointment) throw Bad{"the appointment: " + problem};
  } else if (HasTask(m.kind)) {
    std::string_view record = in.String("the task", kMaxPayload);
    std::string problem;
    if (!tasks::DecodeTaskRecord(record, &m.task, &problem)) throw Bad{"the task: " + problem};
  }
  return m;
}

}  // namespace

const char* KindName(Kind kind) {
  switch (kind) {
    case Kind::kAnythingChanged:
      return "AnythingChanged";
    case Kind::kBeforeLoadFile:
      return "BeforeLoadFile";
    case Kind::kBeforeLoadTasks:
      return "BeforeLoadTasks";
    case Kind::kCategoriesChanged:
      return "CategoriesChanged";
    case Kind::kDoAddTask:
      return "DoAddTask";
    case Kind::kDoChange:
      return "DoChange";
    case Kind::kDoChangeTask:
      return "DoChangeTask";
    case Kind::kDoDelete:
      return "DoDelete";
    case Kind::kDoDeleteTask:
      return "DoDeleteTask";
    case Kind::kDoWrite:
      return "DoWrite";
    case Kind::kNewLoaded:
      return "NewLoaded";
    case Kind::kSaved:
      return "Saved";
    case Kind::kSRTChanged:
      return "SRTChanged";
    case Kind::kTasksSaved:
      return "TasksSaved";
    case Kind::kFlush:
      return "Flush";
  }
  return "?";
}

std::string EncodeMessage(Kind kind, int32_t instance, std::string_view path) {
  return Head(kind, instance, path);
}

std::string EncodeFileMessage(Kind kind, int32_t instance, int32_t fileLong,
                              std::string_view path) {
  std::string out = Head(kind, instance, path);
  PutU32(out, static_cast<uint32_t>(fileLong));
  return out;
}

std::string EncodeAppointmentMessage(Kind kind, int32_t instance, const Appointment& appointment,
                                     std::string_view path) {
  std::string out = Head(kind, instance, path);
  PutU32(out, static_cast<uint32_t>(appointment.File()));
  PutString(out, store::EncodeAppointmentRecord(appointment));
  return out;
}

std::string EncodeTaskMessage(Kind kind, int32_t instance, const TaskFileRecord& task,
                              std::string_view path) {
  std::string out = Head(kind, instance, path);
  PutString(out, tasks::EncodeTaskRecord(task));
  return out;
}

std::string EncodeRegister(int32_t instance, std::string_view path) {
  std::string payload;
  PutU32(payload, static_cast<uint32_t>(instance));
  PutString(payload, path);
  return FrameBytes(FrameType::kRegister, payload);
}

std::string EncodeNotify(uint32_t seq, std::string_view message) {
  std::string payload;
  PutU32(payload, seq);
  payload.append(message);
  return FrameBytes(FrameType::kNotify, payload);
}

std::string EncodeAck(uint32_t token) {
  std::string payload;
  PutU32(payload, token);
  return FrameBytes(FrameType::kAck, payload);
}

std::string EncodeRegistered(int32_t instance, uint32_t waitMs) {
  std::string payload;
  PutU32(payload, static_cast<uint32_t>(instance));
  PutU32(payload, waitMs);
  return FrameBytes(FrameType::kRegistered, payload);
}

std::string EncodeCallback(uint32_t token, std::string_view message) {
  std::string payload;
  PutU32(payload, token);
  payload.append(message);
  return FrameBytes(FrameType::kCallback, payload);
}

std::string EncodeDone(uint32_t seq, uint32_t missed) {
  std::string payload;
  PutU32(payload, seq);
  PutU32(payload, missed);
  return FrameBytes(FrameType::kDone, payload);
}

void FrameReader::Append(std::string_view bytes) {
  if (Broken()) return;
  buffer_.append(bytes);
  CheckHeader();
}

void FrameReader::CheckHeader() {
  if (need_ != 0 || buffer_.size() < kHeaderSize) return;
  const std::string_view head(buffer_);
  const uint32_t magic = GetU32(head), version = GetU32(head.substr(4));
  const uint32_t length = GetU32(head.substr(12));
  if (magic != kMagic) {
    problem_ = "not a frame of this protocol";
  } else if (version != kVersion) {
    problem_ =
        "protocol version " + std::to_string(version) + " is not " + std::to_string(kVersion);
  } else if (length > kMaxPayload) {
    problem_ = "a frame of " + std::to_string(length) + " bytes is above the limit";
  }
  if (Broken()) {
    buffer_.clear();
    buffer_.shrink_to_fit();
    return;
  }
  need_ = kHeaderSize + length;
}

bool FrameReader::Next(Frame* frame) {
  CheckHeader();
  if (Broken() || need_ == 0 || buffer_.size() < need_) return false;
  frame->type = static_cast<FrameType>(GetU32(std::string_view(buffer_).substr(8)));
  frame->payload.assign(buffer_, kHeaderSize, need_ - kHeaderSize);
  buffer_.erase(0, need_);
  need_ = 0;
  return true;
}

bool DecodeFrame(const Frame& frame, Sender from, Decoded* decoded, std::string* problem) {
  const std::string_view payload(frame.payload);
  Reader in(payload);
  Decoded d;
  d.type = frame.type;
  try {
    const bool by_calendar = from == Sender::kCalendar;
    switch (frame.type) {
      case FrameType::kRegister:
      case FrameType::kNotify:
      case FrameType::kAck:
        if (!by_calendar) throw Bad{"the notifier sent a calendar's frame"};
        break;
      case FrameType::kRegistered:
      case FrameType::kCallback:
      case FrameType::kDone:
        if (by_calendar) throw Bad{"a calendar sent the notifier's frame"};
        break;
      default:
        throw Bad{"unknown frame type " + std::to_string(static_cast<uint32_t>(frame.type))};
    }
    switch (frame.type) {
      case FrameType::kRegister:
        d.instance = in.I32("the instance");
        d.path = CheckedPath(in);
        break;
      case FrameType::kRegistered:
        d.instance = in.I32("the instance");
        d.number = in.U32("the wait");
        break;
      case FrameType::kNotify:
      case FrameType::kCallback: {
        d.number = in.U32(frame.type == FrameType::kNotify ? "the sequence number" : "the token");
        const size_t at = in.Offset(payload);
        d.message = ReadMessage(in, from);
        d.message_bytes = payload.substr(at);
        break;
      }
      case FrameType::kAck:
        d.number = in.U32("the token");
        break;
      case FrameType::kDone:
        d.number = in.U32("the sequence number");
        d.missed = in.U32("the count");
        break;
    }
    in.End();
  } catch (const Bad& bad) {
    if (problem) *problem = bad.what;
    return false;
  }
  *decoded = std::move(d);
  return true;
}

}  // namespace orncal::core::protocol
