// The file-format object: reads one FLV file for the host, as one state machine over the file object's completions.
#pragma once

#include <cstdint>
#include <utility>

#include "plugin/payload/flv_payload.h"
#include "plugin/reader/current_tag.h"
#include "plugin/reader/file_completion.h"
#include "plugin/reader/file_port.h"
#include "plugin/reader/reader_state.h"
#include "plugin/reader/request_options.h"
#include "plugin/reader/scan_facts.h"
#include "plugin/reader/seek_points.h"
#include "plugin/reader/stream_queues.h"
#include "plugin/reader/tail_scan.h"
#include "plugin/shell/host_interfaces.h"
#include "plugin/util/com_ptr.h"
#include "plugin/util/counting_object.h"

namespace qbflv {

/// The hub: keeps the state, issues operations through the file port and calls the sink. The classes of its members
/// keep the facts. The exported class adds the packet-format interface and the choice of the payload format.
///
/// The host may complete an operation, and call the object back, inside any call that it gets. The outermost call into
/// the object is a turn; completions that arrive during a turn are processed at its end, one after the other, so no
/// step recurses into the next. After each call to the host a step checks whether it was abandoned, see turn.h.
class CQBFLVFileFormat : public IQBPlugin,
                         public IQBFileFormatObject,
                         public CFileCompletions,
                         public IQBInterruptSafe,
                         public CQBBaseCountingObject,
                         private CFLVPayloadOwner {
 public:
  /// Makes the payload object and passes it to SetPayload. Both lists are those of the request. Declared before the
  /// destructor: this is the slot after IQBPlugin's.
  virtual Status CreatePayload(IQBPropertyList* headers, IQBPropertyList* urlOptions) = 0;

  CQBFLVFileFormat() = default;
  Status QueryInterface(const GUID& id, void** object) override;
  std::uint32_t AddRef() override;
  std::uint32_t Release() override;

  // IQBPlugin
  Status GetPluginInfo(std::uint32_t* flag, const char** description, const char** copyright, const char** moreInfo,
                       std::uint32_t* version) override;
  Status InitPlugin(IUnknown* context) override;

  // IQBFileFormatObject
  Status GetFileFormatInfo(const char* const** mimeTypes, const char* const** extensions,
                           const char* const** openNames) override;
  Status InitFileFormat(IQBRequest* request, IQBFormatSink* sink, IQBSourceFile* file) override;
  Status GetFileHeader() override;
  Status GetStreamHeader(std::uint16_t stream) override;
  Status GetPacket(std::uint16_t stream) override;
  Status Seek(std::uint32_t time) override;
  Status Close() override;

  // IQBFileResponse, IQBFileStatResponse and IQBInterruptSafe
  Status OnCompletion(Operation operation, Status status, IQBBuffer* buffer, std::uint32_t fileSize) override;
  BOOL IsInterruptSafe() override { return 1; }

 protected:
  class Step;

  [[nodiscard]] IUnknown* GetContext() const { return m_pContext.Get(); }
  [[nodiscard]] CFLVPayloadOwner* AsPayloadOwner() { return this; }
  void SetPayload(ComPtr<CFLVPayload> payload) { m_pPayload = std::move(payload); }

 private:
  // Life of the object (file_format.cpp)
  struct FileParts;
  [[nodiscard]] FileParts TakeFileParts();
  void CloseFile();

  // Turns, completions, operations (completions.cpp, turn.h)
  template <typename Action>
  Status RunTurn(Action&& action);
  void ProcessCompletions();
  void Dispatch(FileCompletion& completion);
  [[nodiscard]] FileCompletion AbandonStep();
  void Read(State next, std::uint32_t size);
  void SeekFile(State next, std::uint32_t offset);

  // Opening (opening.cpp)
  [[nodiscard]] Status StartFile(IQBRequest* request, IQBFormatSink* sink, IQBSourceFile* file);
  [[nodiscard]] Status ReadRequest(IQBRequest* borrowed);
  void OnFlvHeader(const FileCompletion& completion);
  void EndInit(State next, Status status);

  // Header scan and tail scan (header_scan.cpp)
  void OnScanTagHeader(const FileCompletion& completion);
  void OnScanTagBody(const FileCompletion& completion);
  void EndScan();
  void OnTailSize(const FileCompletion& completion);
  void OnTailTag(const FileCompletion& completion);
  void Rewind();

  // Headers (headers.cpp)
  void SendFileHeader();
  void FailFileHeader(Status status);
  void AddKeyFramesToIndex(const AMFValue& metaData);
  [[nodiscard]] Status SendStreamHeader(std::uint16_t stream);
  Status BuildAudioStreamHeader(std::uint16_t stream, ComPtr<IQBPropertyList>& list) override;
  Status BuildVideoStreamHeader(std::uint16_t stream, ComPtr<IQBPropertyList>& list) override;
  [[nodiscard]] std::uint32_t GetAudioBitRate() const override { return m_Facts.m_ulAudioBitRate; }
  [[nodiscard]] std::uint32_t GetVideoBitRate() const override { return m_Facts.m_ulVideoBitRate; }

  // Reading tags for delivery (delivery.cpp)
  void ReadTagHeader() { Read(kStatePacketHeaderPending, m_ulTagHeaderReadSize); }
  void OnPacketHeader(FileCompletion& completion);
  void OnShortPacketHeader(const FileCompletion& completion);
  void OnPacketBody(const FileCompletion& completion);
  void SkipBody();
  void OnSkipFailed();
  [[nodiscard]] Status QueuePacket(PayloadPacket& made);
  void EndAllStreams();

  // Delivering queued packets (packet_delivery.cpp)
  void ServeRequests();
  void ServeWaitingStreams();
  [[nodiscard]] bool DeliverPackets();
  void DeliverNextPacket();
  void CheckPacketType(std::uint16_t stream, const ComPtr<IQBPacket>& packet);
  void SendStreamDone(std::uint16_t stream);

  // Seeking (seeking.cpp)
  [[nodiscard]] Status StartSeek(std::uint32_t time);
  [[nodiscard]] std::uint32_t ChooseScanStart(std::uint32_t time);
  void MoveSeekTo(std::uint32_t time, std::uint32_t offset);
  void OnSeekScanTag(const FileCompletion& completion);
  void NotePassedTag(std::uint32_t time);
  void RestartDelivery(Status status);
  void EndSeek(Status status);

  // What every packet needs comes first and lies side by side, here and in the classes of the members.
  std::int32_t m_lRefCount = 0;
  State m_ulState = kStateConstructed;
  /// Changes whenever the current step is abandoned.
  std::uint32_t m_ulEpoch = 0;
  bool m_bInTurn = false;
  /// The last reference is gone; the object is closing its file.
  bool m_bEnding = false;
  /// Bytes of each tag body that delivery reads with the tag header, and the size of that read.
  std::uint32_t m_ulTagPrefixBytes = 1;
  std::uint32_t m_ulTagHeaderReadSize = kTagHeaderReadBytes + 1;
  ComPtr<IQBFormatSink> m_pFormatSink;
  ComPtr<CFLVPayload> m_pPayload;
  CFilePort m_File;
  /// A completion that the current turn has yet to process, or none.
  FileCompletion m_Completion;
  CurrentTag m_Tag;
  ComPtr<IQBBuffer> m_pTagBuffer;
  CStreamQueues m_Streams;
  CSeekPoints m_SeekPoints;
  RequestOptions m_Options;
  CScanFacts m_Facts;
  ComPtr<IUnknown> m_pContext;
  ComPtr<IQBRequest> m_pRequest;
  ComPtr<IQBBuffer> m_pFlvHeaderBuffer;
  CTailScan m_TailScan;
  std::uint32_t m_ulStreamHeadersSent = 0;
  /// Target of the current seek in ms, relative to the time base.
  std::uint32_t m_ulSeekTime = 0;
};

}  // namespace qbflv
