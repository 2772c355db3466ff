# nex_core (service library) and nex_kernel (the kernels), each shared and
# static. Sources are found by folder so that a new subsystem file needs no
# edit here.
file(GLOB NEX_CORE_SOURCES CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/core/*.cpp)
file(GLOB_RECURSE NEX_KERNEL_SOURCES CONFIGURE_DEPENDS
     ${PROJECT_SOURCE_DIR}/src/*.cpp ${PROJECT_SOURCE_DIR}/src/*.S)

# The Gaussian entries call vector kernels built in other parts of the tree.
option(NEX_WITH_GAUSSIAN "Build the Gaussian distribution entries" ON)
if(NEX_WITH_GAUSSIAN)
  add_compile_definitions(NEX_WITH_GAUSSIAN=1)
endif()

find_package(BLAS)
find_package(LAPACK)

foreach(kind shared static)
  if(kind STREQUAL shared)
    set(type SHARED)
  else()
    set(type STATIC)
  endif()
  add_library(nex_core_${kind} ${type} ${NEX_CORE_SOURCES})
  target_include_directories(nex_core_${kind} PUBLIC
      ${PROJECT_SOURCE_DIR}/core/include ${PROJECT_SOURCE_DIR}/include)
  target_compile_options(nex_core_${kind} PRIVATE
      $<$<COMPILE_LANGUAGE:CXX>:${NEX_LIB_CXX_FLAGS}>)
  target_compile_definitions(nex_core_${kind} PRIVATE NEX_BUILDING_CORE=1)
  target_link_libraries(nex_core_${kind} PUBLIC ${BLAS_LIBRARIES} ${LAPACK_LIBRARIES} m)
  set_target_properties(nex_core_${kind} PROPERTIES OUTPUT_NAME nex_core)

  add_library(nex_kernel_${kind} ${type} ${NEX_KERNEL_SOURCES})
  target_include_directories(nex_kernel_${kind} PUBLIC ${PROJECT_SOURCE_DIR}/include
      PRIVATE ${PROJECT_SOURCE_DIR}/src)
  target_compile_options(nex_kernel_${kind} PRIVATE
      $<$<COMPILE_LANGUAGE:CXX>:${NEX_LIB_CXX_FLAGS}>)
  target_compile_definitions(nex_kernel_${kind} PRIVATE NEX_BUILDING_KERNEL=1)
  target_link_libraries(nex_kernel_${kind} PUBLIC nex_core_${kind} m)
  set_target_properties(nex_kernel_${kind} PROPERTIES OUTPUT_NAME nex_kernel)
endforeach()
# The exported dispatch entries address their tables directly (no GOT load);
# binding the library's own references locally also keeps the tables the
# library reads the ones it defined.
target_link_options(nex_kernel_shared PRIVATE -Wl,-Bsymbolic -Wl,--no-undefined
                    -Wl,--version-script=${PROJECT_SOURCE_DIR}/cmake/nex_kernel.map)
set_target_properties(nex_kernel_shared PROPERTIES LINK_DEPENDS ${PROJECT_SOURCE_DIR}/cmake/nex_kernel.map)
target_link_options(nex_core_shared PRIVATE -Wl,--no-undefined)
