// Property lists as JSON.
#pragma once

#include <nlohmann/json.hpp>

#include "host/property_list.h"

namespace qbflv::host {

/// Returns an object with the properties in their order: numbers, texts, and bytes as hexadecimal digits. A text from a
/// file may be invalid UTF-8. A null pointer gives an empty object.
nlohmann::ordered_json ListAsJson(const PropertyList* list);

}  // namespace qbflv::host
