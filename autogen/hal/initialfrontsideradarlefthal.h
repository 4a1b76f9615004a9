// The "Initial" implementation variant of the left front side radar HAL and its registration.
#ifndef INITIALFRONTSIDERADARLEFTHAL_H
#define INITIALFRONTSIDERADARLEFTHAL_H

#include "frontsideradarlefthal.h"
#include "zol/afw/core/contextual_object.h"
#include "zol/afw/core/status_or.h"
#include "zol/string_view.h"

namespace front_side_radar_left_hal {

/// Naming class of the implementation variant "Initial".
///
/// It adds nothing to the facade; it only groups the variant's implementation object (`Impl`, built from the radar's
/// signal groups) and its `Descriptor`. Loading the library registers one descriptor of this variant, so
/// `FrontSideRadarLeftHal::Create(parent, "Initial")` (or "NoInstanceId" while it is the only variant) builds it.
class InitialFrontSideRadarLeftHal : public FrontSideRadarLeftHal {
 public:
  /// The variant's implementation object; defined by the HAL core.
  class Impl;

  /// Registration of the variant: constructing one enters it into the component descriptor collection under
  /// "frontsideradarlefthal" / "Initial", destroying it takes it out again.
  class Descriptor : public FrontSideRadarLeftHal::Descriptor {
   public:
    /// Registers this descriptor under the instance id `InitialFrontSideRadarLeftHal::instance_id()`.
    Descriptor();
    ~Descriptor() override;

    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    Descriptor(Descriptor&&) = delete;
    Descriptor& operator=(Descriptor&&) = delete;

    /// Builds an `InitialFrontSideRadarLeftHal::Impl` with `parent` as its parent contextual object, in memory of the
    /// default memory resource.
    ///
    /// Always succeeds (allocation failures and exceptions of the constructor pass on): problems found while the
    /// object is built are logged and make its `ProcessFsrlInput` fail instead.
    zol::afw::core::StatusOr<ImplPointer> Create(const zol::afw::core::ContextualObject* parent) const override;
  };

  /// The variant's instance id, "Initial".
  static zol::basic_string_view<char> instance_id();
};

/// The library's one descriptor of the variant "Initial", registered from library load to unload. Defined by the
/// shared library only; nothing needs to use it by name.
extern const InitialFrontSideRadarLeftHal::Descriptor initialfrontsideradarlefthal_descriptor_instance;

}  // namespace front_side_radar_left_hal

#endif  // INITIALFRONTSIDERADARLEFTHAL_H
