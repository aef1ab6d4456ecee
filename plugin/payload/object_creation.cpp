#include "plugin/payload/object_creation.h"

#include <cstdarg>
#include <cstdio>

#include "plugin/util/host_objects.h"

namespace qbflv {

namespace {

Status FindFactory(IUnknown* context, ComPtr<IQBObjectFactory>& factory) {
  if (context == nullptr) return kFailed;
  const auto retained = ComPtr<IUnknown>::Retain(context);  // the host may release it inside the call
  return context->QueryInterface(IQBObjectFactory::kId, factory.OutVoid());
}

template <typename Interface>
Status CreateFromContext(ComPtr<Interface>& object, IUnknown* context) {
  ComPtr<IQBObjectFactory> factory;
  const Status status = FindFactory(context, factory);
  return Failed(status) ? status : CreateObject(factory.Get(), object);
}

}  // namespace

Status CreatePropertyList(ComPtr<IQBPropertyList>& list, IUnknown* context) { return CreateFromContext(list, context); }

Status CreateBuffer(ComPtr<IQBBuffer>& buffer, IUnknown* context) { return CreateFromContext(buffer, context); }

Status CreateBufferFromString(ComPtr<IQBBuffer>& buffer, const char* text, IUnknown* context) {
  if (text == nullptr) return kFailed;
  ComPtr<IQBObjectFactory> factory;
  const Status status = FindFactory(context, factory);
  return Failed(status) ? status : MakeTextBuffer(factory.Get(), text, buffer);
}

Status SetStringProperty(IQBPropertyList* list, const char* name, const char* text, IUnknown* context,
                         StoreAs storeAs) {
  if (list == nullptr || name == nullptr || text == nullptr) return kFailed;
  ComPtr<IQBBuffer> buffer;
  const Status status = CreateBufferFromString(buffer, text, context);
  if (Failed(status)) return status;
  return storeAs == StoreAs::kBuffer ? list->SetBuffer(name, buffer.Get()) : list->SetCString(name, buffer.Get());
}

int SafeFormat(char* destination, std::uint32_t size, const char* format, ...) {
  if (destination == nullptr || size == 0 || format == nullptr) return 0;
  std::va_list arguments;
  va_start(arguments, format);
  const int length = std::vsnprintf(destination, size, format, arguments);
  va_end(arguments);
  destination[size - 1] = '\0';
  const bool isTruncated = length < 0 || static_cast<std::uint32_t>(length) >= size;
  return isTruncated ? -1 : length;
}

}  // namespace qbflv
