#ifndef ZOL_AFW_CORE_COMPONENT_DESCRIPTOR_H
#define ZOL_AFW_CORE_COMPONENT_DESCRIPTOR_H

#include <mutex>
#include <string>
#include <vector>

#include "zol/nodiscard.h"
#include "zol/pmr/polymorphic_allocator.h"
#include "zol/string_view.h"

namespace zol {
namespace afw {
namespace core {

/// @brief Announces one implementation (instance) of a component, so that a factory can find it by name.
///
/// A library defines a static descriptor per implementation it offers; constructing it enters it into the
/// process-wide ComponentDescriptorCollection, destroying it removes it. Derived classes add the factory
/// operations of their component.
class ComponentDescriptor {
 public:
  /// @brief Registers this descriptor as instance @p instance_id of component @p component_name. Both names are
  /// copied and compared exactly (case matters).
  ComponentDescriptor(zol::string_view component_name, zol::string_view instance_id);
  /// @brief Unregisters this descriptor.
  virtual ~ComponentDescriptor();
  // Registered by address: a copy or a move would leave the collection pointing at the wrong object.
  ComponentDescriptor(const ComponentDescriptor&) = delete;
  ComponentDescriptor(ComponentDescriptor&&) = delete;
  ComponentDescriptor& operator=(const ComponentDescriptor&) = delete;
  ComponentDescriptor& operator=(ComponentDescriptor&&) = delete;

  /// @brief The name of the component this descriptor implements.
  ZOL_NODISCARD zol::string_view component_name() const { return {component_name_.data(), component_name_.size()}; }
  /// @brief The id of this implementation among those of its component.
  ZOL_NODISCARD zol::string_view instance_id() const { return {instance_id_.data(), instance_id_.size()}; }

 private:
  // Plain std::string: descriptors live for the whole process and are built during static initialisation,
  // before any component could have installed a memory resource of its own.
  std::string component_name_;
  std::string instance_id_;
};

/// @brief The process-wide list of registered component descriptors. Thread-safe.
class ComponentDescriptorCollection {
 public:
  /// @brief The one collection of the process, shared by every library that links the platform.
  static ComponentDescriptorCollection& instance();

  ComponentDescriptorCollection(const ComponentDescriptorCollection&) = delete;
  ComponentDescriptorCollection(ComponentDescriptorCollection&&) = delete;
  ComponentDescriptorCollection& operator=(const ComponentDescriptorCollection&) = delete;
  ComponentDescriptorCollection& operator=(ComponentDescriptorCollection&&) = delete;

  /// @brief The first registered descriptor with exactly these names, or null.
  const ComponentDescriptor* Find(zol::string_view component_name, zol::string_view instance_id) const;
  /// @brief The instance ids registered for @p component_name, in registration order, allocated from the
  /// default memory resource.
  zol::pmr::vector<zol::pmr::string> instance_ids(zol::string_view component_name) const;

 private:
  friend class ComponentDescriptor;

  ComponentDescriptorCollection() = default;
  ~ComponentDescriptorCollection() = default;

  void Register(const ComponentDescriptor* descriptor);
  void Unregister(const ComponentDescriptor* descriptor);

  mutable std::mutex mutex_;
  std::vector<const ComponentDescriptor*> descriptors_;
};

}  // namespace core
}  // namespace afw
}  // namespace zol

#endif  // ZOL_AFW_CORE_COMPONENT_DESCRIPTOR_H
