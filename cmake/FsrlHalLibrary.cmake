# The HAL: libhal_frontsideradarleft.
#
# Everything except the registration of the "Initial" variant is compiled once
# into an object library. The shared library adds the registration unit; module
# tests link the object library directly, so they can run without any variant
# registered and reach the internal classes.
set(FSRL_HAL_ROOT ${PROJECT_SOURCE_DIR})

set(FSRL_HAL_PUBLIC_HEADERS
  ${FSRL_HAL_ROOT}/autogen/hal/frontsideradarlefthal.h
  ${FSRL_HAL_ROOT}/autogen/hal/frontsideradarlefthal_types.h)

add_library(hal_frontsideradarleft_core OBJECT
  ${FSRL_HAL_ROOT}/autogen/hal/frontsideradarlefthal.cpp
  ${FSRL_HAL_ROOT}/autogen/hal/frontsideradarlefthal_types.cpp
  ${FSRL_HAL_ROOT}/common/utils/src/radarDetectionData.cpp
  ${FSRL_HAL_ROOT}/common/utils/src/radarStatusData.cpp
  ${FSRL_HAL_ROOT}/common/utils/src/log/logging_wrapper.cpp
  ${FSRL_HAL_ROOT}/initial/src/radarScanDataManager.cpp)
fsrl_library_target(hal_frontsideradarleft_core)
target_include_directories(hal_frontsideradarleft_core PUBLIC
  $<BUILD_INTERFACE:${FSRL_HAL_ROOT}/autogen/hal>
  $<BUILD_INTERFACE:${FSRL_HAL_ROOT}/autogen/signal_adapters>
  $<BUILD_INTERFACE:${FSRL_HAL_ROOT}/initial/include>
  $<BUILD_INTERFACE:${FSRL_HAL_ROOT}/common/utils/include>)
target_link_libraries(hal_frontsideradarleft_core PUBLIC zol::platform)

add_library(hal_frontsideradarleft SHARED
  $<TARGET_OBJECTS:hal_frontsideradarleft_core>)
add_library(hal_frontsideradarleft::hal_frontsideradarleft ALIAS hal_frontsideradarleft)
fsrl_library_target(hal_frontsideradarleft)
set_target_properties(hal_frontsideradarleft PROPERTIES
  OUTPUT_NAME hal_frontsideradarleft
  VERSION ${PROJECT_VERSION}
  SOVERSION ${PROJECT_VERSION_MAJOR})
target_include_directories(hal_frontsideradarleft PUBLIC
  $<BUILD_INTERFACE:${FSRL_HAL_ROOT}/autogen/hal>
  $<BUILD_INTERFACE:${FSRL_HAL_ROOT}/autogen/signal_adapters>
  $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/hal_frontsideradarleft>)
target_link_libraries(hal_frontsideradarleft PUBLIC zol::platform)

install(FILES ${FSRL_HAL_PUBLIC_HEADERS}
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/hal_frontsideradarleft)
