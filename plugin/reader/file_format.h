// The file-format object: reads one FLV file for the host, as one state machine over the file object's completions.
#pragma once

#include <cstdint>
#include <memory>
#include <span>

#include "plugin/index/file_index_table.h"
#include "plugin/meta/amf_value.h"
#include "plugin/meta/media_info.h"
#include "plugin/payload/flv_payload.h"
#include "plugin/reader/chain_guard.h"
#include "plugin/reader/file_operations.h"
#include "plugin/reader/file_response.h"
#include "plugin/reader/merge_sorter.h"
#include "plugin/reader/reader_state.h"
#include "plugin/reader/stream_state.h"
#include "plugin/shell/host_interfaces.h"
#include "plugin/util/com_ptr.h"
#include "plugin/util/counting_object.h"
#include "plugin/util/owned.h"

namespace qbflv {

/// Everything but its descriptors and the choice of the payload format, which the exported class adds.
///
/// How calls nest: a completion may come inside the call that asked for it, and a sink operation may call the object
/// back. Both are met by one rule. The outermost call into the object is marked by a Turn; a completion that arrives
/// meanwhile is kept in m_Answer and taken up by the outermost call when the running step has returned to it. So no
/// step recurses into the next, and the stack stays flat however many tags go by.
///
/// After a call to the sink a step asks its Bookmark whether the object is still where it was: Close, Seek or
/// InitFileFormat may have come meanwhile, or the host may have dropped its last reference. Then the step is over.
class CQBFLVFileFormat : public IQBPlugin,
                         public IQBFileFormatObject,
                         public CFileAnswers,
                         public IQBInterruptSafe,
                         public CQBBaseCountingObject,
                         private CFLVPayloadOwner,
                         private MediaInfo {
 public:
  /// Makes the payload object and hands it to SetPayload. Both lists are those of the request. Stands before the
  /// destructor: this is the slot after IQBPlugin's.
  virtual Status CreatePayload(IQBPropertyList* headers, IQBPropertyList* urlOptions) = 0;

  CQBFLVFileFormat() = default;
  ~CQBFLVFileFormat() override;

  Status QueryInterface(const GUID& id, void** object) override;
  std::uint32_t AddRef() override;
  std::uint32_t Release() override;

  // IQBPlugin
  Status InitPlugin(IUnknown* context) override;

  // IQBFileFormatObject
  Status InitFileFormat(IQBRequest* request, IQBFormatSink* sink, IQBSourceFile* file) override;
  Status GetFileHeader() override;
  Status GetStreamHeader(std::uint16_t stream) override;
  Status GetPacket(std::uint16_t stream) override;
  Status Seek(std::uint32_t time) override;
  Status Close() override;

  // IQBFileResponse and IQBFileStatResponse: completions of the file object in use
  Status TakeAnswer(Completion completion, Status status, ComPtr<IQBBuffer> buffer, std::uint32_t fileSize) override;

  // IQBInterruptSafe
  BOOL IsInterruptSafe() override { return 1; }

 protected:
  [[nodiscard]] IUnknown* GetContext() const { return m_pContext.Get(); }
  [[nodiscard]] CFLVPayloadOwner* AsPayloadOwner() { return this; }
  void SetPayload(ComPtr<CFLVPayload> payload) { m_pPayload = std::move(payload); }

 private:
  class Turn;
  class Bookmark;

  // --- Answers and operations (file_format.cpp, completions.cpp) ---

  void NoteOvertaken(Completion completion, Status status, IQBBuffer* buffer);
  /// The file's position after a seek, and after a read.
  void MoveTo(std::uint32_t offset);
  void MoveOn(IQBBuffer* buffer);
  void RunAnswers();
  void Dispatch(Answer answer);

  /// Each sets the state that waits for the operation and then asks the file object for it; what that call answers
  /// does not count.
  void Read(State next, std::uint32_t size);
  void SeekFile(State next, std::uint32_t offset);
  void NoteRefusal(const IQBSourceFile* file, Completion kind, std::uint32_t number);

  // --- Opening (opening.cpp) ---

  void GiveUpFile();
  void ForgetFile();
  [[nodiscard]] Status TakeRequest();
  void ReadMetaInfoRequest();
  void ReadUnitLimit(IQBPropertyList* headers, IQBPropertyList* urlOptions);
  void OnFlvHeader(Status status, IQBBuffer* buffer);
  void OnFileSize(Status status, std::uint32_t size);
  [[nodiscard]] Status ParseFLVHeader(IQBBuffer* buffer);
  void EndInit(State next, Status status);

  // --- Header scan (header_scan.cpp, tail_scan.cpp) ---

  void OnScanTagHeader(Status status, IQBBuffer* buffer);
  void OnScanTagBody(Status status, IQBBuffer* buffer);
  void OnScanEndOfFile(Status status);
  [[nodiscard]] Status ScanTag(std::span<const std::uint8_t> body);
  [[nodiscard]] Status ScanAudioTag(std::span<const std::uint8_t> body);
  [[nodiscard]] Status ScanVideoTag(std::span<const std::uint8_t> body);
  void MeasureAudio(std::uint32_t bytes);
  void UpdateTimeBase();
  [[nodiscard]] bool IsScanComplete();
  void EndScan();
  void Rewind();
  void FailFileHeader(Status status);

  void OnTailSize(Status status, IQBBuffer* buffer);
  void OnTailTag(Status status, IQBBuffer* buffer);
  void NoteTailTag();
  [[nodiscard]] bool IsTailKnown() const;
  void SeekTailTag(std::uint32_t offset);

  // --- File header and stream headers (headers.cpp) ---

  void SendFileHeader();
  [[nodiscard]] Status BuildFileHeader(const AMFValue& metaData, ComPtr<IQBPropertyList>& list);
  void AddKeyFramesToIndex(const AMFValue& metaData);
  Status BuildAudioStreamHeader(std::uint16_t stream, ComPtr<IQBPropertyList>& list) override;
  Status BuildVideoStreamHeader(std::uint16_t stream, ComPtr<IQBPropertyList>& list) override;
  [[nodiscard]] std::uint32_t GetDuration(bool known, std::uint32_t duration) const;
  void EstimateVideoBitRate(std::uint32_t duration);
  [[nodiscard]] std::uint32_t GetAudioBitRate() const override { return m_ulAudioBitRate; }
  [[nodiscard]] std::uint32_t GetVideoBitRate() const override { return m_ulVideoBitRate; }

  // --- Seek index (seek_points.cpp) ---

  [[nodiscard]] Status CreateSeekIndex();
  /// The one way positions enter the index: a key position is offered to it, any other tag only moves the time up to
  /// which the stream has been seen. time: ms, relative to the time base.
  Status AddSeekPoint(std::uint16_t stream, std::uint32_t offset, std::uint32_t time, bool key);

  // --- Seeking (seeking.cpp) ---

  [[nodiscard]] Answer AbandonWork();
  [[nodiscard]] bool FlushPackets();
  void RestartVideoAt(std::uint32_t time, std::uint32_t offset);
  void RecordVideoKeyPosition(std::uint32_t time, std::uint32_t offset);
  /// The latest known positions at or before the time, in ms relative to the time base: the latest of all streams is
  /// handed back. kFailed, with nothing changed, when no stream has one.
  [[nodiscard]] Status LookupSeekIndex(std::uint32_t& time, std::uint32_t& offset);
  void OnSeekScanTag(Status status, IQBBuffer* buffer);
  void NotePassedTag(std::uint32_t time);
  void RestartDelivery(Status status);
  void EndSeek(Status status);

  // --- Delivery (delivery.cpp, hand_out.cpp) ---

  void ReadTagHeader();
  void OnPacketHeader(Status status, ComPtr<IQBBuffer> buffer);
  void OnShortPacketHeader(IQBBuffer* buffer);
  void OnPacketBody(Status status, IQBBuffer* buffer);
  void SkipBody();
  void OnSkipFailed();
  [[nodiscard]] Status ParseMediaTagHeader(std::span<const std::uint8_t> body);
  [[nodiscard]] Status CreatePacket(IQBBuffer* body, ComPtr<IQBPacket>& packet, std::uint16_t& stream);
  [[nodiscard]] Status EnsureMergeSorter();
  [[nodiscard]] Status QueuePacket(ComPtr<IQBPacket> packet);
  bool CountUnit(std::uint16_t stream, IQBPacket* packet);
  void EndAllStreams();

  void ServeRequests();
  /// Hands out queued packets while streams wait for them. False when a call back moved the object on: the caller then
  /// does nothing more.
  [[nodiscard]] bool HandOutPackets();
  [[nodiscard]] bool DeliverNextPacket();
  [[nodiscard]] bool DeliverPacket(std::uint16_t stream);
  void TracePacket(IQBPacket* packet, bool isRtp);
  void SendStreamDone(std::uint16_t stream);
  [[nodiscard]] bool HasReleasablePacket();
  [[nodiscard]] bool AnyStreamWaiting() const;
  [[nodiscard]] bool AllStreamsWaitingOrDone() const;

  // --- What the host gave ---

  std::int32_t m_lRefCount = 0;
  ComPtr<IUnknown> m_pContext;
  ComPtr<IQBRequest> m_pRequest;
  ComPtr<IQBFormatSink> m_pFormatSink;
  ComPtr<IQBSourceFile> m_pFileObject;
  ComPtr<IQBFileStat> m_pFileStat;
  /// Names that the request's "AcceptMetaInfo" lists. Kept for the host's debugging; nothing consults it.
  ComPtr<IQBPropertyList> m_pMetaInfoFilter;
  ComPtr<CFileResponse> m_pFileResponse;

  // --- What the object owns ---

  OwnedArray<FLVStreamState> m_pStreams;
  std::unique_ptr<CFileIndexTable> m_pIndexTable;
  std::unique_ptr<CMergeSorter> m_pMergeSorter;
  ComPtr<IQBBuffer> m_pFlvHeaderBuffer;
  ComPtr<IQBBuffer> m_pTagBuffer;
  ComPtr<CFLVPayload> m_pPayload;
  /// Until the file header is made of it.
  AMFValue m_MetaData;

  // --- Where the object stands ---

  /// Bytes of each tag body that delivery reads with the tag header, and the size of that read.
  std::uint32_t m_ulTagPrefixBytes = 1;
  std::uint32_t m_ulTagHeaderReadSize = kTagHeaderReadBytes + 1;
  State m_ulState = kStateConstructed;
  std::uint32_t m_ulSeekOffset = 0;
  std::uint32_t m_ulReadSize = 0;
  std::uint32_t m_ulFileOffset = 0;
  std::uint32_t m_ulFileSize = 0;
  std::uint32_t m_ulStreamCount = 0;
  std::uint32_t m_ulStreamHeadersSent = 0;
  /// In ms.
  std::uint32_t m_ulSeekTime = 0;
  /// Media units after which each stream is ended; 0 for no limit.
  std::uint32_t m_ulProcessTimeUnits = 0;
  /// In ms; 0 when the preference is not set.
  std::uint32_t m_ulMergeSorterMaxTimespan = 0;

  /// Reads have gone past the last offset, and m_ulFileOffset counts from 0 again.
  bool m_bOffsetCameRound = false;
  bool m_bFileSizeKnown = false;
  bool m_bMetaInfoRequested = false;
  bool m_bAcceptAllMetaInfo = false;
  bool m_bDisableThumbnailSeekModification = true;

  FLVTagHeader m_TagHeader;
  FLVAudioTagHeader m_AudioTagHeader;
  FLVVideoTagHeader m_VideoTagHeader;
  ChainGuard m_TailChain;

  /// The outermost call is under way.
  bool m_bInTurn = false;
  /// Changes whenever what the object does is given up for something else.
  std::uint32_t m_ulEpoch = 0;
  /// A completion that waits to be taken up.
  Answer m_Answer;
  /// The operation under way, and those that a seek has overtaken.
  CFileOperations m_Operations;
};

}  // namespace qbflv
