#include "zol/afw/core/component_descriptor.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace zol {
namespace afw {
namespace core {

ComponentDescriptor::ComponentDescriptor(zol::string_view component_name, zol::string_view instance_id)
    : component_name_(component_name.data(), component_name.size()),
      instance_id_(instance_id.data(), instance_id.size()) {
  ComponentDescriptorCollection::instance().Register(this);
}

ComponentDescriptor::~ComponentDescriptor() { ComponentDescriptorCollection::instance().Unregister(this); }

ComponentDescriptorCollection& ComponentDescriptorCollection::instance() {
  // Deliberately never destroyed. Descriptors are static objects of other libraries; their destructors run at
  // exit or at dlclose, in an order against ours that nobody controls, and each of them unregisters. A
  // collection that outlives them all is the only order that is always safe.
  // NOLINTNEXTLINE(cppcoreguidelines-avoid-non-const-global-variables): the one process-wide registry
  static auto* const collection = new ComponentDescriptorCollection();
  return *collection;
}

const ComponentDescriptor* ComponentDescriptorCollection::Find(zol::string_view component_name,
                                                               zol::string_view instance_id) const {
  std::lock_guard<std::mutex> lock(mutex_);
  for (const ComponentDescriptor* descriptor : descriptors_) {
    if (descriptor->component_name() == component_name && descriptor->instance_id() == instance_id) {
      return descriptor;
    }
  }
  return nullptr;
}

zol::pmr::vector<zol::pmr::string> ComponentDescriptorCollection::instance_ids(zol::string_view component_name) const {
  const zol::pmr::polymorphic_allocator<char> allocator(zol::pmr::get_default_resource());
  zol::pmr::vector<zol::pmr::string> ids(allocator);
  std::lock_guard<std::mutex> lock(mutex_);
  for (const ComponentDescriptor* descriptor : descriptors_) {
    if (descriptor->component_name() == component_name) {
      const zol::string_view id = descriptor->instance_id();
      ids.push_back(zol::pmr::string(id.data(), id.size(), allocator));
    }
  }
  return ids;
}

void ComponentDescriptorCollection::Register(const ComponentDescriptor* descriptor) {
  std::lock_guard<std::mutex> lock(mutex_);
  descriptors_.push_back(descriptor);
}

void ComponentDescriptorCollection::Unregister(const ComponentDescriptor* descriptor) {
  std::lock_guard<std::mutex> lock(mutex_);
  // Searched from the back: descriptors are usually destroyed in reverse order of construction.
  const auto found = std::find(descriptors_.rbegin(), descriptors_.rend(), descriptor);
  if (found != descriptors_.rend()) {
    descriptors_.erase(std::next(found).base());
  }
}

}  // namespace core
}  // namespace afw
}  // namespace zol
