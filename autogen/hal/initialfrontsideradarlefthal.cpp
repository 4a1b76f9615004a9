// Registration unit of the "Initial" variant: compiled into the shared library only, so that code linking the HAL's
// object library directly decides for itself which variants exist.
#include "initialfrontsideradarlefthal.h"

namespace front_side_radar_left_hal {

namespace {

// A view of a string literal: static storage, so every caller of instance_id() may keep it.
constexpr zol::string_view kInstanceId("Initial");

}  // namespace

zol::basic_string_view<char> InitialFrontSideRadarLeftHal::instance_id() { return kInstanceId; }

// Qualified on purpose: inside the descriptor, a plain instance_id() would name the accessor inherited from the
// component descriptor, which is not even constructed yet.
InitialFrontSideRadarLeftHal::Descriptor::Descriptor()
    : FrontSideRadarLeftHal::Descriptor(InitialFrontSideRadarLeftHal::instance_id()) {}

// Out of line so that the descriptor's vtable lives in this unit, next to the one object that needs it.
InitialFrontSideRadarLeftHal::Descriptor::~Descriptor() = default;

// Constructed while the library is loaded, which enters it into the component descriptor collection; destroyed at
// unload (or program exit), which takes it out again.
const InitialFrontSideRadarLeftHal::Descriptor initialfrontsideradarlefthal_descriptor_instance;

}  // namespace front_side_radar_left_hal
