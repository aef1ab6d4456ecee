#include "tests/reliability/faulty_host.h"

#include <fmt/format.h>

#include <algorithm>
#include <memory>

#include "host/buffer.h"
#include "host/packet.h"

namespace qbflv::test {

namespace {

/// Counts itself among the plan's objects.
class Counted {
 public:
  explicit Counted(FaultPlan& ofPlan) : plan(ofPlan) { ++plan.objects; }
  Counted(const Counted&) = delete;
  Counted& operator=(const Counted&) = delete;
  ~Counted() { --plan.objects; }

  FaultPlan& plan;
};

/// The answer of an operation that hands something out: what it does well, unless it fails.
template <typename Object, typename Work>
Status HandOut(FaultPlan& plan, Asked asked, Object** object, Work work) {
  plan.Tell(asked);
  const Failing how = plan.Take(asked);
  if (how == Failing::kNot) return work();
  *object = nullptr;
  return how == Failing::kAnswersNull ? kOk : kOutOfMemory;
}

template <typename Work>
Status Do(FaultPlan& plan, Asked asked, Work work) {
  plan.Tell(asked);
  return plan.Take(asked) == Failing::kNot ? work() : kOutOfMemory;
}

class FaultyBuffer final : public host::ComObject<IQBBuffer> {
 public:
  FaultyBuffer(FaultPlan& plan, ComPtr<host::Buffer> buffer) : m_counted(plan), m_buffer(std::move(buffer)) {}

  Status Set(const std::uint8_t* bytes, std::uint32_t length) override {
    return Do(m_counted.plan, Asked::kFillBuffer, [&] { return m_buffer->Set(bytes, length); });
  }
  Status SetSize(std::uint32_t size) override {
    return Do(m_counted.plan, Asked::kFillBuffer, [&] { return m_buffer->SetSize(size); });
  }
  std::uint32_t GetSize() override { return m_buffer->GetSize(); }
  std::uint8_t* GetBuffer() override {
    return m_counted.plan.Take(Asked::kBufferBytes) == Failing::kNot ? m_buffer->GetBuffer() : nullptr;
  }

 private:
  Counted m_counted;
  ComPtr<host::Buffer> m_buffer;
};

class FaultyPacket final : public host::BasicPacket<IQBPacket> {
 public:
  explicit FaultyPacket(FaultPlan& plan) : m_counted(plan) {}

  Status Set(IQBBuffer* buffer, std::uint32_t time, std::uint16_t stream, std::uint8_t flags,
             std::uint16_t rule) override {
    return Do(m_counted.plan, Asked::kFillPacket, [&] { return BasicPacket::Set(buffer, time, stream, flags, rule); });
  }

 private:
  Counted m_counted;
};

class FaultyList final : public host::ComObject<IQBPropertyList> {
 public:
  explicit FaultyList(FaultPlan& plan) : m_counted(plan) {}

  host::PropertyList& Values() { return *m_list; }

  /// As the host's own class it is the list inside.
  Status QueryInterface(const GUID& id, void** object) override {
    return id == host::PropertyList::kId ? m_list->QueryInterface(id, object) : ComObject::QueryInterface(id, object);
  }

  Status SetULONG32(const char* name, std::uint32_t value) override {
    return Do(m_counted.plan, Asked::kSetProperty, [&] { return m_list->SetULONG32(name, value); });
  }
  Status GetULONG32(const char* name, std::uint32_t* value) override {
    return Do(m_counted.plan, Asked::kGetProperty, [&] { return m_list->GetULONG32(name, value); });
  }
  Status SetBuffer(const char* name, IQBBuffer* value) override {
    return Do(m_counted.plan, Asked::kSetProperty, [&] { return m_list->SetBuffer(name, value); });
  }
  Status GetBuffer(const char* name, IQBBuffer** value) override {
    return HandOut(m_counted.plan, Asked::kGetProperty, value, [&] { return m_list->GetBuffer(name, value); });
  }
  Status SetCString(const char* name, IQBBuffer* value) override {
    return Do(m_counted.plan, Asked::kSetProperty, [&] { return m_list->SetCString(name, value); });
  }
  Status GetCString(const char* name, IQBBuffer** value) override {
    return HandOut(m_counted.plan, Asked::kGetProperty, value, [&] { return m_list->GetCString(name, value); });
  }

 private:
  Counted m_counted;
  ComPtr<host::PropertyList> m_list = host::MakeObject<host::PropertyList>();
};

class FaultyContext final : public host::ComObject<IQBObjectFactory, IQBPreferences> {
 public:
  explicit FaultyContext(FaultPlan& plan) : m_counted(plan) {}

  Status QueryInterface(const GUID& id, void** object) override {
    return HandOut(m_counted.plan, Asked::kInterface, object, [&] { return ComObject::QueryInterface(id, object); });
  }

  Status CreateInstance(const GUID& classId, void** object) override {
    return HandOut(m_counted.plan, Asked::kObject, object, [&] {
      FaultPlan& plan = m_counted.plan;
      *object = nullptr;
      if (classId == IQBBuffer::kId) {
        *object = host::MakeObject<FaultyBuffer>(plan, host::MakeObject<host::Buffer>()).Detach();
      }
      if (classId == IQBPacket::kId) *object = host::MakeObject<FaultyPacket>(plan).Detach();
      if (classId == IQBPropertyList::kId) *object = host::MakeObject<FaultyList>(plan).Detach();
      return *object != nullptr ? kOk : kNoInterface;
    });
  }

  Status ReadPref(const char* name, IQBBuffer** value) override {
    return HandOut(m_counted.plan, Asked::kPreference, value, [&] {
      const bool isSet = name == std::string("FLVMergeSorterMaxTimespan");
      *value = isSet ? host::MakeTextBuffer("5000").Detach() : nullptr;
      return isSet ? kOk : kFailed;
    });
  }

 private:
  Counted m_counted;
};

class FaultyRequest final : public host::ComObject<IQBRequest> {
 public:
  explicit FaultyRequest(FaultPlan& plan) : m_counted(plan) {
    static_cast<void>(m_headers->Values().SetText("AcceptMetaInfo", "title,creator"));
  }

  Status GetHeaders(IQBPropertyList** headers) override {
    return HandOut(m_counted.plan, Asked::kRequest, headers, [&] {
      *headers = ComPtr<FaultyList>(m_headers).Detach();
      return kOk;
    });
  }
  Status GetURL(const char** url) override {
    return HandOut(m_counted.plan, Asked::kRequest, url, [&] {
      *url = R"(http://user@host:80/a%20b/clip.flv$1:30&name=%41bc&Delay=2&text="a b")";
      return kOk;
    });
  }

 private:
  Counted m_counted;
  ComPtr<FaultyList> m_headers = host::MakeObject<FaultyList>(m_counted.plan);
};

}  // namespace

ComPtr<IUnknown> MakeFaultyContext(FaultPlan& plan) {
  return ComPtr<IUnknown>::Adopt(static_cast<IQBObjectFactory*>(host::MakeObject<FaultyContext>(plan).Detach()));
}

ComPtr<IQBRequest> MakeFaultyRequest(FaultPlan& plan) {
  return ComPtr<IQBRequest>::Adopt(host::MakeObject<FaultyRequest>(plan).Detach());
}

Status FaultyFile::QueryInterface(const GUID& id, void** object) {
  return HandOut(m_plan, Asked::kInterface, object, [&] { return ComObject::QueryInterface(id, object); });
}

Status FaultyFile::Init(std::uint32_t /*flags*/, IQBFileResponse* response) {
  m_plan.log.Add("Init");
  m_response = ComPtr<IQBFileResponse>::Retain(response);
  return Settle(Asked::kInit,
                [to = m_response](Failing how) { to->InitDone(how == Failing::kAnswersFailure ? kFailed : kOk); });
}

Status FaultyFile::Close() {
  const auto self = ComPtr<FaultyFile>::Retain(this);
  m_plan.log.Add("Close");
  m_response = nullptr;
  m_plan.Tell(Asked::kClose);
  return kOk;
}

Status FaultyFile::Read(std::uint32_t count) {
  m_plan.log.Add(fmt::format("Read({})", count));
  const auto self = ComPtr<FaultyFile>::Retain(this);
  return Settle(Asked::kRead, [self, count, to = m_response](Failing how) {
    switch (how) {
      case Failing::kAnswersFailure:
        return static_cast<void>(to->ReadDone(kFailed, nullptr));
      case Failing::kAnswersNull:
        return static_cast<void>(to->ReadDone(kOk, nullptr));
      case Failing::kAnswersHalf:
        return static_cast<void>(to->ReadDone(kOk, self->Cut(count / 2).Get()));
      case Failing::kAnswersEmpty:
        return static_cast<void>(to->ReadDone(kOk, self->Cut(0).Get()));
      case Failing::kAnswersMore:
        return static_cast<void>(to->ReadDone(kOk, self->Cut(count + 8).Get()));
      default:
        return static_cast<void>(to->ReadDone(kOk, self->Cut(count).Get()));
    }
  });
}

Status FaultyFile::Seek(std::uint32_t offset, BOOL /*relative*/) {
  m_plan.log.Add(fmt::format("Seek({})", offset));
  const auto self = ComPtr<FaultyFile>::Retain(this);
  return Settle(Asked::kSeek, [self, offset, to = m_response](Failing how) {
    if (how != Failing::kAnswersFailure) self->m_position = offset;
    to->SeekDone(how == Failing::kAnswersFailure ? kFailed : kOk);
  });
}

Status FaultyFile::SetAccessHint(std::uint32_t /*hint*/) {
  return Do(m_plan, Asked::kHint, [] { return kOk; });
}

Status FaultyFile::Stat(IQBFileStatResponse* response) {
  m_plan.log.Add("Stat");
  const auto size = static_cast<std::uint32_t>(m_bytes.size());
  return Settle(Asked::kStat, [size, to = ComPtr<IQBFileStatResponse>::Retain(response)](Failing how) {
    const bool fails = how == Failing::kAnswersFailure;
    to->StatDone(fails ? kFailed : kOk, how == Failing::kAnswersHalf ? size / 2 : size);
  });
}

bool FaultyFile::Answer() {
  if (m_waiting.empty()) return false;
  const std::function<void()> answer = std::move(m_waiting.front());
  m_waiting.pop_front();
  answer();
  return true;
}

Status FaultyFile::Settle(Asked asked, const std::function<void(Failing)>& answer) {
  const auto self = ComPtr<FaultyFile>::Retain(this);
  FaultPlan& plan = m_plan;
  ++m_operations;
  const Failing how = plan.Take(asked);
  const bool isAnswered = how != Failing::kNeverAnswers && how != Failing::kRefuses;
  if (isAnswered && m_answersInline) answer(how);
  if (isAnswered && !m_answersInline) m_waiting.emplace_back([answer, how] { answer(how); });
  plan.Tell(asked);
  return how == Failing::kRefuses || how == Failing::kRefusesAndAnswers ? kOutOfMemory : kOk;
}

ComPtr<IQBBuffer> FaultyFile::Cut(std::uint32_t count) {
  const std::uint64_t begin = std::min<std::uint64_t>(m_position, m_bytes.size());
  const auto size = static_cast<std::uint32_t>(std::min<std::uint64_t>(count, m_bytes.size() - begin));
  auto buffer = host::MakeObject<host::Buffer>();
  static_cast<void>(buffer->Set(m_bytes.data() + begin, size));
  m_position += size;
  return ComPtr<IQBBuffer>::Adopt(host::MakeObject<FaultyBuffer>(m_plan, std::move(buffer)).Detach());
}

}  // namespace qbflv::test
