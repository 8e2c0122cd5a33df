// The document-resource callbacks the host offers the plug-in: count, get,
// delete and add plug-in resources of one document, by type and 1-based
// position among the resources of that type.
//
// The callbacks carry no context, so one object at a time is bound to them:
// the one made last, until it is destroyed.
#pragma once

#include <vector>

#include "HostCallbacks.h"
#include "host/ImageResourceBlock.h"

namespace tessel::host {

class DocumentResourceProcs {
 public:
  // Serves resources, which must outlive this object.
  explicit DocumentResourceProcs(std::vector<PluginResource>& resources);
  // Releases every handle lent through get and unbinds the callbacks.
  ~DocumentResourceProcs();
  DocumentResourceProcs(const DocumentResourceProcs&) = delete;
  DocumentResourceProcs& operator=(const DocumentResourceProcs&) = delete;

  const HostResourceProcs* procs() const;
  // True once a resource was deleted or added.
  bool changed() const { return changed_; }

 private:
  static SInt16 count(ResType type);
  static Handle get(ResType type, SInt16 index);
  static void remove(ResType type, SInt16 index);
  static OSErr add(ResType type, Handle data);
  // The position in resources_ of the index-th resource of type, or -1.
  std::ptrdiff_t find(ResType type, SInt16 index) const;

  std::vector<PluginResource>& resources_;
  std::vector<Handle> lent_;
  bool changed_ = false;
  DocumentResourceProcs* previous_;
};

}  // namespace tessel::host
