// What the file-format object holds for one file.
#pragma once

#include "plugin/reader/file_format.h"

namespace qbflv {

/// Taken out of the object as a whole, so that the object is consistent when the host objects are released: the host
/// may call the object from its last Release. Members are destroyed from the last to the first.
struct CQBFLVFileFormat::FileParts {
  ComPtr<CFLVPayload> payload;
  ComPtr<IQBBuffer> tagBuffer;
  ComPtr<IQBBuffer> flvHeaderBuffer;
  FileCompletion completion;
  CStreamQueues streams;
  CSeekPoints seekPoints;
  ComPtr<IQBPropertyList> metaInfoFilter;
  CFilePort::Released file;
  ComPtr<IQBFormatSink> sink;
  ComPtr<IQBRequest> request;
  ComPtr<IUnknown> context;
};

}  // namespace qbflv
