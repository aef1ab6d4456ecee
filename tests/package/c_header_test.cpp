// The C header describes the same tables and values as the C++ header.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <type_traits>

#include "plugin/shell/host_interfaces.h"
#include "plugin/shell/host_interfaces_c.h"

namespace {

/// The C header's type for a parameter of the C++ header.
template <typename Type>
struct InC {
  using Is = Type;
};
template <typename Type>
struct InC<const Type> {
  using Is = const typename InC<Type>::Is;
};
template <typename Type>
struct InC<Type*> {
  using Is = typename InC<Type>::Is*;
};
// clang-format off
template <> struct InC<const qbflv::GUID&> { using Is = const ::QBGuid*; };
template <> struct InC<qbflv::IUnknown> { using Is = ::IQBUnknown; };
template <> struct InC<qbflv::IQBBuffer> { using Is = ::IQBBuffer; };
template <> struct InC<qbflv::IQBPacket> { using Is = ::IQBPacket; };
template <> struct InC<qbflv::IQBPropertyList> { using Is = ::IQBPropertyList; };
template <> struct InC<qbflv::IQBRequest> { using Is = ::IQBRequest; };
template <> struct InC<qbflv::IQBFileResponse> { using Is = ::IQBFileResponse; };
template <> struct InC<qbflv::IQBFileStatResponse> { using Is = ::IQBFileStatResponse; };
template <> struct InC<qbflv::IQBSourceFile> { using Is = ::IQBSourceFile; };
template <> struct InC<qbflv::IQBFormatSink> { using Is = ::IQBFormatSink; };
// clang-format on

template <typename Result, typename... Parameters>
struct Signature {};
template <typename Interface, typename Result, typename... Parameters>
Signature<typename InC<Result>::Is, typename InC<Parameters>::Is...> SignatureOf(
    Result (Interface::* /*operation*/)(Parameters...));
template <typename Table, typename Self, typename Result, typename... Parameters>
Signature<Result, Parameters...> SignatureOf(Result (*Table::* /*slot*/)(Self*, Parameters...));

/// Compares an operation of the C++ header with a slot of the C header. Returns the number of the slot. Pointers to
/// members hold offsets, those to virtual functions plus 1, with the compilers that build this.
template <typename Operation, typename Slot>
std::size_t Same(Operation operation, Slot slot) {
  static_assert(std::is_same_v<decltype(SignatureOf(operation)), decltype(SignatureOf(slot))>);
  const std::size_t offset = std::bit_cast<std::array<std::size_t, 2>>(operation)[0] - 1;
  EXPECT_EQ(std::bit_cast<std::size_t>(slot), offset);
  return offset / sizeof(void*);
}

/// Compares the slots of a whole table; the last one ends it.
template <typename Interface, typename Table, typename... Slots>
void SameTable(const char* name, Slots... slots) {
  SCOPED_TRACE(name);
  Same(&Interface::QueryInterface, &Table::QueryInterface);
  Same(&Interface::AddRef, &Table::AddRef);
  Same(&Interface::Release, &Table::Release);
  const std::size_t last = std::max({slots...});
  EXPECT_EQ(sizeof(Table) / sizeof(void*), last + 1);
}

#define SAME(interface, operation) Same(&qbflv::interface::operation, &::interface##Table::operation)
#define SAME_TABLE(interface, ...) SameTable<qbflv::interface, ::interface##Table>(#interface, __VA_ARGS__)

TEST(CHeader, EveryTable_HasTheSlotsOfTheCppHeader) {
  SameTable<qbflv::IUnknown, IQBUnknownTable>("IUnknown", std::size_t{2});
  SAME_TABLE(IQBBuffer, SAME(IQBBuffer, Set), SAME(IQBBuffer, SetSize), SAME(IQBBuffer, GetSize),
             SAME(IQBBuffer, GetBuffer));
  SAME_TABLE(IQBPacket, SAME(IQBPacket, GetPacketBuffer), SAME(IQBPacket, GetTime), SAME(IQBPacket, GetStreamNumber),
             SAME(IQBPacket, GetASMFlags), SAME(IQBPacket, GetASMRuleNumber), SAME(IQBPacket, IsLost),
             SAME(IQBPacket, Set));
  SAME_TABLE(IQBRTPPacket, SAME(IQBRTPPacket, GetPacketBuffer), SAME(IQBRTPPacket, GetTime),
             SAME(IQBRTPPacket, GetStreamNumber), SAME(IQBRTPPacket, GetASMFlags), SAME(IQBRTPPacket, GetASMRuleNumber),
             SAME(IQBRTPPacket, IsLost), SAME(IQBRTPPacket, Set), SAME(IQBRTPPacket, GetRTPTime),
             SAME(IQBRTPPacket, SetRTP));
  SAME_TABLE(IQBPropertyList, SAME(IQBPropertyList, SetULONG32), SAME(IQBPropertyList, GetULONG32),
             SAME(IQBPropertyList, SetBuffer), SAME(IQBPropertyList, GetBuffer), SAME(IQBPropertyList, SetCString),
             SAME(IQBPropertyList, GetCString));
  SAME_TABLE(IQBObjectFactory, SAME(IQBObjectFactory, CreateInstance));
  SAME_TABLE(IQBPreferences, SAME(IQBPreferences, ReadPref));
  SAME_TABLE(IQBRequest, SAME(IQBRequest, GetHeaders), SAME(IQBRequest, GetURL));
  SAME_TABLE(IQBFileResponse, SAME(IQBFileResponse, InitDone), SAME(IQBFileResponse, CloseDone),
             SAME(IQBFileResponse, ReadDone), SAME(IQBFileResponse, WriteDone), SAME(IQBFileResponse, SeekDone));
  SAME_TABLE(IQBFileStatResponse, SAME(IQBFileStatResponse, StatDone));
  SAME_TABLE(IQBSourceFile, SAME(IQBSourceFile, Init), SAME(IQBSourceFile, Close), SAME(IQBSourceFile, Read),
             SAME(IQBSourceFile, Seek), SAME(IQBSourceFile, SetAccessHint));
  SAME_TABLE(IQBFileStat, SAME(IQBFileStat, Stat));
  SAME_TABLE(IQBFormatSink, SAME(IQBFormatSink, InitDone), SAME(IQBFormatSink, PacketReady),
             SAME(IQBFormatSink, SeekDone), SAME(IQBFormatSink, FileHeaderReady),
             SAME(IQBFormatSink, StreamHeaderReady), SAME(IQBFormatSink, StreamDone));
  SAME_TABLE(IQBPlugin, SAME(IQBPlugin, GetPluginInfo), SAME(IQBPlugin, InitPlugin));
  SAME_TABLE(IQBFileFormatObject, SAME(IQBFileFormatObject, GetFileFormatInfo),
             SAME(IQBFileFormatObject, InitFileFormat), SAME(IQBFileFormatObject, GetFileHeader),
             SAME(IQBFileFormatObject, GetStreamHeader), SAME(IQBFileFormatObject, GetPacket),
             SAME(IQBFileFormatObject, Seek), SAME(IQBFileFormatObject, Close));
  SAME_TABLE(IQBInterruptSafe, SAME(IQBInterruptSafe, IsInterruptSafe));
  SAME_TABLE(IQBPacketFormat, SAME(IQBPacketFormat, GetSupportedPacketFormats), SAME(IQBPacketFormat, SetPacketFormat));
}

#define EXPECT_SAME_ID(interface, id) \
  EXPECT_EQ(qbflv::interface::kId, std::bit_cast<qbflv::GUID>(::QBGuid id)) << #interface

TEST(CHeader, EveryIdentifierAndStatus_IsThatOfTheCppHeader) {
  EXPECT_SAME_ID(IUnknown, IQBUNKNOWN_ID);
  EXPECT_SAME_ID(IQBBuffer, IQBBUFFER_ID);
  EXPECT_SAME_ID(IQBPacket, IQBPACKET_ID);
  EXPECT_SAME_ID(IQBRTPPacket, IQBRTPPACKET_ID);
  EXPECT_SAME_ID(IQBPropertyList, IQBPROPERTYLIST_ID);
  EXPECT_SAME_ID(IQBObjectFactory, IQBOBJECTFACTORY_ID);
  EXPECT_SAME_ID(IQBPreferences, IQBPREFERENCES_ID);
  EXPECT_SAME_ID(IQBFileResponse, IQBFILERESPONSE_ID);
  EXPECT_SAME_ID(IQBFileStat, IQBFILESTAT_ID);
  EXPECT_SAME_ID(IQBFileStatResponse, IQBFILESTATRESPONSE_ID);
  EXPECT_SAME_ID(IQBPlugin, IQBPLUGIN_ID);
  EXPECT_SAME_ID(IQBFileFormatObject, IQBFILEFORMATOBJECT_ID);
  EXPECT_SAME_ID(IQBInterruptSafe, IQBINTERRUPTSAFE_ID);
  EXPECT_SAME_ID(IQBPacketFormat, IQBPACKETFORMAT_ID);
  EXPECT_EQ(QB_OK, qbflv::kOk);
  EXPECT_EQ(QB_NOT_IMPLEMENTED, qbflv::kNotImplemented);
  EXPECT_EQ(QB_NO_INTERFACE, qbflv::kNoInterface);
  EXPECT_EQ(QB_FAILED, qbflv::kFailed);
  EXPECT_EQ(QB_OUT_OF_MEMORY, qbflv::kOutOfMemory);
  EXPECT_EQ(QB_INVALID_ARGUMENT, qbflv::kInvalidArgument);
  EXPECT_EQ(QB_INVALID_STATE, qbflv::kInvalidState);
  EXPECT_EQ(QB_PREFERS_LINEAR_ACCESS, qbflv::kPrefersLinearAccess);
  EXPECT_STREQ(QBM_CREATE_INSTANCE_NAME, qbflv::kCreateInstanceName);
  EXPECT_STREQ(QBM_CAN_UNLOAD_NAME, qbflv::kCanUnloadName);
}

}  // namespace
