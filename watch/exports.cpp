// The two functions that the layer exports instead of the plug-in.
#include "watch/layer.h"

extern "C" {

qbflv::Status QBMCreateInstance(qbflv::IUnknown** object) { return qbflv::watch::Layer::Get().CreateInstance(object); }

qbflv::Status CanUnload2() { return qbflv::watch::Layer::Get().CanUnload(); }

}  // extern "C"
