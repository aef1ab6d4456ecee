// The contract between a host and the plug-in: statuses, identifiers and every interface that either side calls.
//
// This header stands alone. It is the only one an integrator needs, and nothing in it depends on the plug-in's own
// code.
//
// Binary rules, the same on every platform:
// - An interface is a table of operations without hidden slots: slot n is the n-th virtual function, counted from 0.
//   Slots 0 to 2 are IUnknown's. Operations named ReservedSlotN keep the numbers of the others; neither side calls
//   them, and a host may leave them as they are.
// - Statuses are signed 32-bit, BOOL is a 32-bit integer (0 or 1), texts are NUL-terminated bytes, identifiers are
//   passed by address.
// - Ownership: an interface pointer handed in as an argument is borrowed for the call; who keeps it adds a reference.
//   An interface pointer handed out through an out parameter carries one reference, which the receiver drops.
//
// Threads: the plug-in starts none and takes no lock. Calls into one object must not run at the same time; AddRef and
// Release may be called from any thread. Calls may nest: the host may answer a file operation inside the call that
// asked for it, and may call the object back from inside any sink operation.
//
// Times are milliseconds, sizes and offsets bytes, rates bits per second. Offsets are 32-bit, so files of 4 GiB or
// more are beyond these interfaces.
#pragma once

#include <array>
#include <bit>
#include <cstdint>

namespace qbflv {

// ---------------------------------------------------------------------------------------------------------------
// Statuses
// ---------------------------------------------------------------------------------------------------------------

/// Negative for failure. Bad input, misuse and a shortage of memory are told apart by the value.
using Status = std::int32_t;

constexpr Status MakeStatus(std::uint32_t bits) { return static_cast<Status>(bits); }

inline constexpr Status kOk = 0;
inline constexpr Status kNotImplemented = MakeStatus(0x80004001);
inline constexpr Status kNoInterface = MakeStatus(0x80004002);
/// General failure: malformed data, or a lookup that finds nothing.
inline constexpr Status kFailed = MakeStatus(0x80004005);
inline constexpr Status kOutOfMemory = MakeStatus(0x8007000E);
inline constexpr Status kInvalidArgument = MakeStatus(0x80070057);
/// The object does not expect this request or completion now, or something that it needs is missing.
inline constexpr Status kInvalidState = MakeStatus(0x80040009);
/// Success code of IQBSourceFile::SetAccessHint: the file is best read from front to back.
inline constexpr Status kPrefersLinearAccess = MakeStatus(0x0004008D);

constexpr bool Succeeded(Status status) { return status >= 0; }
constexpr bool Failed(Status status) { return status < 0; }

// ---------------------------------------------------------------------------------------------------------------
// Identifiers
// ---------------------------------------------------------------------------------------------------------------

/// 16 bytes: the first three fields in the machine's byte order (little-endian on every supported one), the last
/// eight bytes as written.
struct GUID {
  std::uint32_t data1;
  std::uint16_t data2;
  std::uint16_t data3;
  std::uint8_t data4[8];
};

static_assert(sizeof(GUID) == 16);

constexpr bool operator==(const GUID& left, const GUID& right) {
  using Halves = std::array<std::uint64_t, 2>;
  return std::bit_cast<Halves>(left) == std::bit_cast<Halves>(right);
}

/// Most identifiers here differ only in their first field.
constexpr GUID FrameworkGuid(std::uint32_t first) {
  return {first, 0x0901, 0x11D1, {0x8B, 0x06, 0x00, 0xA0, 0x24, 0x40, 0x6D, 0x59}};
}

/// A truth value that crosses the boundary: 0 or not 0.
using BOOL = std::int32_t;

// An interface has no virtual destructor (it would take a slot, or two): objects end in Release, and the protected
// destructor keeps anyone from deleting through an interface.

struct IUnknown {
  static constexpr GUID kId{0x00000000, 0x0000, 0x0000, {0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};

  /// Slot 0. Stores the interface asked for, with one reference, or null and answers kNoInterface.
  virtual Status QueryInterface(const GUID& id, void** object) = 0;
  /// Slot 1. Adds a reference and answers the new count.
  virtual std::uint32_t AddRef() = 0;
  /// Slot 2. Drops a reference and answers the new count; at 0 the object is gone.
  virtual std::uint32_t Release() = 0;

 protected:
  ~IUnknown() = default;
};

// ---------------------------------------------------------------------------------------------------------------
// What the host implements: data that passes through. These objects do not call the plug-in's back.
// ---------------------------------------------------------------------------------------------------------------

/// A block of bytes.
struct IQBBuffer : IUnknown {
  static constexpr GUID kId = FrameworkGuid(0x00001300);

  virtual Status ReservedSlot3() { return kNotImplemented; }
  /// Slot 4. Replaces the content by a copy of length bytes.
  virtual Status Set(const std::uint8_t* bytes, std::uint32_t length) = 0;
  /// Slot 5. Makes the content this long; the bytes up to the smaller of the old and the new size stay.
  virtual Status SetSize(std::uint32_t size) = 0;
  /// Slot 6. The size in bytes.
  virtual std::uint32_t GetSize() = 0;
  /// Slot 7. The bytes, valid until the buffer is changed or released. May be null when the size is 0.
  virtual std::uint8_t* GetBuffer() = 0;

 protected:
  ~IQBBuffer() = default;
};

/// One media packet.
struct IQBPacket : IUnknown {
  static constexpr GUID kId = FrameworkGuid(0x00001301);

  virtual Status ReservedSlot3() { return kNotImplemented; }
  /// Slot 4. The packet's bytes, with one reference for the caller; null when it has none.
  virtual IQBBuffer* GetPacketBuffer() = 0;
  /// Slot 5. Time in ms.
  virtual std::uint32_t GetTime() = 0;
  /// Slot 6.
  virtual std::uint16_t GetStreamNumber() = 0;
  /// Slot 7. 3 for audio and key frames, 2 for other video frames.
  virtual std::uint8_t GetASMFlags() = 0;
  /// Slot 8. The rule of the stream's "ASMRuleBook" that the packet belongs to.
  virtual std::uint16_t GetASMRuleNumber() = 0;
  /// Slot 9. Not 0 for a packet that stands for one that was lost: it has a place but no data.
  virtual BOOL IsLost() = 0;
  virtual Status ReservedSlot10() { return kNotImplemented; }
  /// Slot 11. Fills the packet, which keeps one reference to the buffer. Times are ms.
  virtual Status Set(IQBBuffer* buffer, std::uint32_t time, std::uint16_t stream, std::uint8_t asmFlags,
                     std::uint16_t asmRule) = 0;

 protected:
  ~IQBPacket() = default;
};

/// A packet with an RTP time beside its own.
struct IQBRTPPacket : IQBPacket {
  static constexpr GUID kId{0x0169A731, 0x1ED0, 0x11D4, {0x95, 0x2B, 0x00, 0x90, 0x27, 0x42, 0xC9, 0x23}};

  /// Slot 12. Time in the units of the stream's RTP clock.
  virtual std::uint32_t GetRTPTime() = 0;
  virtual Status ReservedSlot13() { return kNotImplemented; }
  /// Slot 14. As Set, with the RTP time.
  virtual Status SetRTP(IQBBuffer* buffer, std::uint32_t time, std::uint32_t rtpTime, std::uint16_t stream,
                        std::uint8_t asmFlags, std::uint16_t asmRule) = 0;

 protected:
  ~IQBRTPPacket() = default;
};

/// Named values of three kinds: numbers, byte blocks, and texts (held in buffers with their NUL). Setting a name again
/// replaces its value. How names compare is the host's choice. Getters hand lists and buffers out with one reference
/// and fail for a name that is absent or of another kind.
struct IQBPropertyList : IUnknown {
  static constexpr GUID kId = FrameworkGuid(0x00001302);

  /// Slot 3.
  virtual Status SetULONG32(const char* name, std::uint32_t value) = 0;
  /// Slot 4.
  virtual Status GetULONG32(const char* name, std::uint32_t* value) = 0;
  virtual Status ReservedSlot5() { return kNotImplemented; }
  virtual Status ReservedSlot6() { return kNotImplemented; }
  /// Slot 7. The list keeps one reference to the buffer.
  virtual Status SetBuffer(const char* name, IQBBuffer* value) = 0;
  /// Slot 8.
  virtual Status GetBuffer(const char* name, IQBBuffer** value) = 0;
  virtual Status ReservedSlot9() { return kNotImplemented; }
  virtual Status ReservedSlot10() { return kNotImplemented; }
  /// Slot 11. The buffer holds the text and its NUL; the list keeps one reference to it.
  virtual Status SetCString(const char* name, IQBBuffer* value) = 0;
  /// Slot 12.
  virtual Status GetCString(const char* name, IQBBuffer** value) = 0;

 protected:
  ~IQBPropertyList() = default;
};

// ---------------------------------------------------------------------------------------------------------------
// What the host implements: its context
// ---------------------------------------------------------------------------------------------------------------

/// Makes the host's objects. Reached by QueryInterface on the context.
struct IQBObjectFactory : IUnknown {
  static constexpr GUID kId = FrameworkGuid(0x00000000);

  /// Slot 3. classId is the identifier of IQBBuffer, IQBPacket, IQBRTPPacket or IQBPropertyList; object receives that
  /// interface of a new, empty object with one reference.
  virtual Status CreateInstance(const GUID& classId, void** object) = 0;

 protected:
  ~IQBObjectFactory() = default;
};

/// The host's settings. Reached by QueryInterface on the context.
struct IQBPreferences : IUnknown {
  static constexpr GUID kId = FrameworkGuid(0x00000500);

  /// Slot 3. The value as NUL-terminated text, with one reference. A preference counts as set only when the answer is
  /// exactly kOk.
  virtual Status ReadPref(const char* name, IQBBuffer** value) = 0;

 protected:
  ~IQBPreferences() = default;
};

/// What a client asked for. Handed to InitFileFormat.
struct IQBRequest : IUnknown {
  virtual Status ReservedSlot3() { return kNotImplemented; }
  /// Slot 4. The request's headers as a list, with one reference.
  virtual Status GetHeaders(IQBPropertyList** headers) = 0;
  virtual Status ReservedSlot5() { return kNotImplemented; }
  virtual Status ReservedSlot6() { return kNotImplemented; }
  virtual Status ReservedSlot7() { return kNotImplemented; }
  /// Slot 8. The URL as NUL-terminated text; it stays valid while the request is held.
  virtual Status GetURL(const char** url) = 0;

 protected:
  ~IQBRequest() = default;
};

// ---------------------------------------------------------------------------------------------------------------
// What the plug-in implements for the file object
// ---------------------------------------------------------------------------------------------------------------

/// Takes the file object's answers. Handed to IQBSourceFile::Init; the file object keeps one reference for as long as
/// it may still answer.
///
/// Each operation answers kOk when the object acted on the answer (or will, once the call that it is working on
/// returns) and kInvalidState when it expects no such answer now; it then changes nothing but its idea of the file
/// position. An answer to an operation that was overtaken, by Seek, Close or a further InitFileFormat, is such an
/// answer too. Any answer may come inside the call that asked for it.
struct IQBFileResponse : IUnknown {
  static constexpr GUID kId = FrameworkGuid(0x00000201);

  /// Slot 3. Answers IQBSourceFile::Init.
  virtual Status InitDone(Status status) = 0;
  /// Slot 4. Nothing to answer: always kOk, without effect.
  virtual Status CloseDone(Status status) = 0;
  /// Slot 5. Answers IQBSourceFile::Read. buffer: borrowed; null on failure. At the end of the file it may be shorter
  /// than what was asked for, also empty.
  virtual Status ReadDone(Status status, IQBBuffer* buffer) = 0;
  /// Slot 6. Nothing is ever written: always kNotImplemented.
  virtual Status WriteDone(Status status) = 0;
  /// Slot 7. Answers IQBSourceFile::Seek.
  virtual Status SeekDone(Status status) = 0;

 protected:
  ~IQBFileResponse() = default;
};

/// Takes the answer of IQBFileStat::Stat.
struct IQBFileStatResponse : IUnknown {
  static constexpr GUID kId = FrameworkGuid(0x00000206);

  /// Slot 3. size: the file's size in bytes, looked at only when the status is not negative. A host may pass further
  /// values after it (the calling conventions in use let the caller clean up); they are not looked at.
  virtual Status StatDone(Status status, std::uint32_t size) = 0;

 protected:
  ~IQBFileStatResponse() = default;
};

// ---------------------------------------------------------------------------------------------------------------
// What the host implements: the file
// ---------------------------------------------------------------------------------------------------------------

/// One file, opened by the host. At most one operation is outstanding at a time, except that Close may come at any
/// moment, and so may a Seek when the host seeks. It is the completion that counts, not what Read and Seek answer at
/// once; but one that is refused at once is not expected to be completed. Every other operation is completed exactly
/// once, those of one kind in the order in which they were asked for. A file object may call the file-format object
/// from inside an operation once it has taken that operation up: what it is asked for meanwhile comes after it.
struct IQBSourceFile : IUnknown {
  /// Slot 3. Completed by response->InitDone. flags: always 5, the access that the host's framework gives that value
  /// (reading at any position). response: where this file's operations are completed from now on.
  virtual Status Init(std::uint32_t flags, IQBFileResponse* response) = 0;
  virtual Status ReservedSlot4() { return kNotImplemented; }
  /// Slot 5. Operations still unanswered may be dropped or completed later, as the host likes. The result is not looked
  /// at.
  virtual Status Close() = 0;
  /// Slot 6. Reads count bytes at the current position and moves it by what was read. Completed by ReadDone. At the
  /// end of the file: a shorter buffer, or a failure. count may be 0.
  virtual Status Read(std::uint32_t count) = 0;
  virtual Status ReservedSlot7() { return kNotImplemented; }
  /// Slot 8. Moves to offset; relative is always 0. Completed by SeekDone. Offsets past the end are legal: what
  /// follows is a read at the end.
  virtual Status Seek(std::uint32_t offset, BOOL relative) = 0;
  /// Slot 9. hint 1 announces jumps to the end of the file. kPrefersLinearAccess keeps the object from making them.
  virtual Status SetAccessHint(std::uint32_t hint) = 0;

 protected:
  ~IQBSourceFile() = default;
};

/// Tells a file's size. Optional: reached by QueryInterface on the file object.
struct IQBFileStat : IUnknown {
  static constexpr GUID kId = FrameworkGuid(0x00000205);

  /// Slot 3. Completed by response->StatDone, where a failure only leaves the size unknown. A failure answered at once,
  /// without a completion, fails the opening of the file.
  virtual Status Stat(IQBFileStatResponse* response) = 0;

 protected:
  ~IQBFileStat() = default;
};

// ---------------------------------------------------------------------------------------------------------------
// What the host implements: the sink
// ---------------------------------------------------------------------------------------------------------------

/// Takes what the file-format object produces. The object keeps one reference until Close. Every operation may call
/// back into the object: any request, Close, a further InitFileFormat, or the last Release. What it answers is not
/// looked at. Lists and packets handed in are borrowed for the call.
struct IQBFormatSink : IUnknown {
  /// Slot 3. Ends InitFileFormat.
  virtual Status InitDone(Status status) = 0;
  /// Slot 4. Answers one GetPacket of the packet's stream. status is always kOk.
  virtual Status PacketReady(Status status, IQBPacket* packet) = 0;
  /// Slot 5. Ends Seek.
  virtual Status SeekDone(Status status) = 0;
  /// Slot 6. Ends GetFileHeader. header: null on failure.
  virtual Status FileHeaderReady(Status status, IQBPropertyList* header) = 0;
  /// Slot 7. Ends GetStreamHeader. header: null on failure.
  virtual Status StreamHeaderReady(Status status, IQBPropertyList* header) = 0;
  /// Slot 8. The stream delivers no more packets. Also answers a GetPacket that is still open.
  virtual Status StreamDone(std::uint16_t stream) = 0;

 protected:
  ~IQBFormatSink() = default;
};

// ---------------------------------------------------------------------------------------------------------------
// What the plug-in implements for the host
// ---------------------------------------------------------------------------------------------------------------

/// The file-format object's first interface: QBMCreateInstance hands it out, and it is the object's identity.
struct IQBPlugin : IUnknown {
  static constexpr GUID kId = FrameworkGuid(0x00000C00);

  /// Slot 3. May be called at any time; always kOk. The texts are static.
  virtual Status GetPluginInfo(std::uint32_t* flag, const char** description, const char** copyright,
                               const char** moreInfo, std::uint32_t* version) = 0;
  /// Slot 4. Gives the object its context, which it keeps until Close or the next InitPlugin. A null context: kFailed,
  /// nothing changes. The context answers QueryInterface for IQBObjectFactory and IQBPreferences.
  virtual Status InitPlugin(IUnknown* context) = 0;

 protected:
  ~IQBPlugin() = default;
};

/// Reads one file. Requests that an operation does not expect in its present state answer kInvalidState and change
/// nothing.
struct IQBFileFormatObject : IUnknown {
  static constexpr GUID kId = FrameworkGuid(0x00000F00);

  /// Slot 3. May be called at any time; always kOk. Each list is a static array of texts ended by a null pointer.
  virtual Status GetFileFormatInfo(const char* const** mimeTypes, const char* const** extensions,
                                   const char* const** openNames) = 0;
  /// Slot 4. Starts on a file; the end of it is told by the sink's InitDone. After InitPlugin, in any state: what the
  /// object did before is given up, and its answers no longer count. Keeps one reference to each argument until Close.
  /// Answers kInvalidState without a context or with a null argument, a failure of making its own parts, or what
  /// IQBSourceFile::Init answered.
  virtual Status InitFileFormat(IQBRequest* request, IQBFormatSink* sink, IQBSourceFile* file) = 0;
  /// Slot 5. After a successful InitDone, once. Ends with the sink's FileHeaderReady; after a failure it may be asked
  /// again.
  virtual Status GetFileHeader() = 0;
  /// Slot 6. After the file header, as often as there are streams. Answered by the sink's StreamHeaderReady inside the
  /// call.
  virtual Status GetStreamHeader(std::uint16_t stream) = 0;
  /// Slot 7. Asks for the stream's next packet: the sink's PacketReady or StreamDone answers, possibly inside the call.
  /// One request per stream may be open.
  virtual Status GetPacket(std::uint16_t stream) = 0;
  /// Slot 8. Moves delivery to a time in ms, counted from the file's first audio or video tag. Ends with the sink's
  /// SeekDone, whose status is that of the file operation that ended it: success also for a time past the last tag,
  /// where the streams then end at once. From FileHeaderReady on, at any moment, also inside any sink operation: what
  /// was under way is given up, packets that wait are dropped, every open request is forgotten, streams that were done
  /// are live again. Of several seeks under way only the last is answered. Answers kInvalidState without a file header.
  virtual Status Seek(std::uint32_t time) = 0;
  /// Slot 9. Gives everything up: the file is closed, every host object released. Always kOk; may be repeated, and
  /// comes by itself before the object is destroyed. Afterwards only InitPlugin starts anything.
  virtual Status Close() = 0;

 protected:
  ~IQBFileFormatObject() = default;
};

/// Tells the host from where it may call the object.
struct IQBInterruptSafe : IUnknown {
  static constexpr GUID kId = FrameworkGuid(0x0000010B);

  /// Slot 3. Always 1: the object blocks on nothing.
  virtual BOOL IsInterruptSafe() = 0;

 protected:
  ~IQBInterruptSafe() = default;
};

/// Tells in which formats packets can be had.
struct IQBPacketFormat : IUnknown {
  static constexpr GUID kId = FrameworkGuid(0x00000F03);

  /// Slot 3. Always kOk; a static array of texts ended by a null pointer.
  virtual Status GetSupportedPacketFormats(const char* const** formats) = 0;
  /// Slot 4. Always kOk, for any text or null, without effect: packets are always in the one supported format.
  virtual Status SetPacketFormat(const char* format) = 0;

 protected:
  ~IQBPacketFormat() = default;
};

// ---------------------------------------------------------------------------------------------------------------
// What the library exports, with C linkage and these names
// ---------------------------------------------------------------------------------------------------------------

/// Makes a file-format object: object receives its IQBPlugin with one reference, or null and the answer is
/// kOutOfMemory. Every block of memory of the library comes from the operators `new` and `delete` that the host
/// process's main program exports; without them every attempt fails so, and says why on standard error.
inline constexpr char kCreateInstanceName[] = "QBMCreateInstance";
using CreateInstanceFunction = Status (*)(IUnknown** object);

/// kOk when no object of the library is alive, so that it may be unloaded; else kFailed. The response objects that file
/// objects were given count as well.
inline constexpr char kCanUnloadName[] = "CanUnload2";
using CanUnloadFunction = Status (*)();

}  // namespace qbflv
