#include "host/property_json.h"

#include "host/buffer.h"

namespace qbflv::host {

namespace {

using Json = nlohmann::ordered_json;

Json ValueAsJson(const Property& property) {
  switch (property.kind) {
    case Property::Kind::kNumber:
      return property.number;
    case Property::Kind::kBytes:
      return BufferHex(property.buffer.Get());
    case Property::Kind::kText:
      return BufferText(property.buffer.Get());
  }
  return nullptr;
}

}  // namespace

Json ListAsJson(const PropertyList* list) {
  Json object = Json::object();
  if (list == nullptr) return object;
  for (const Property& property : list->Properties()) object[property.name] = ValueAsJson(property);
  return object;
}

}  // namespace qbflv::host
