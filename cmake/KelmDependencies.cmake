# zlib, minizip and GoogleTest. Installed by scripts/install-deps.sh, never
# kept in this tree.

if(WIN32)
  set(ZLIB_USE_STATIC_LIBS ON)
endif()
find_package(ZLIB REQUIRED)

if(WIN32)
  # minizip is compiled from Debian's minizip source package for the target.
  set(KELM_MINIZIP_SOURCE_DIR "" CACHE PATH "Unpacked sources of Debian's minizip package")
  if(NOT EXISTS "${KELM_MINIZIP_SOURCE_DIR}/unzip.c")
    message(FATAL_ERROR "KELM_MINIZIP_SOURCE_DIR must name the unpacked minizip sources "
                        "(scripts/install-deps.sh fetches them)")
  endif()
  add_library(kelm_minizip STATIC
    ${KELM_MINIZIP_SOURCE_DIR}/ioapi.c
    ${KELM_MINIZIP_SOURCE_DIR}/zip.c
    ${KELM_MINIZIP_SOURCE_DIR}/unzip.c)
  # Consumers include <minizip/unzip.h> as with the Linux package.
  set(mz_include ${CMAKE_BINARY_DIR}/minizip-include)
  file(MAKE_DIRECTORY ${mz_include}/minizip)
  foreach(h ioapi.h zip.h unzip.h crypt.h)
    configure_file(${KELM_MINIZIP_SOURCE_DIR}/${h} ${mz_include}/minizip/${h} COPYONLY)
  endforeach()
  target_include_directories(kelm_minizip PUBLIC ${mz_include} PRIVATE ${mz_include}/minizip)
  target_compile_options(kelm_minizip PRIVATE -w)
  target_link_libraries(kelm_minizip PUBLIC ZLIB::ZLIB)
  add_library(kelm::minizip ALIAS kelm_minizip)
else()
  find_package(PkgConfig REQUIRED)
  pkg_check_modules(MINIZIP REQUIRED IMPORTED_TARGET minizip)
  add_library(kelm::minizip ALIAS PkgConfig::MINIZIP)
endif()

if(KELM_BUILD_TESTS)
  if(CMAKE_CROSSCOMPILING)
    set(gtest_disable_pthreads ON CACHE BOOL "" FORCE)
    set(INSTALL_GTEST OFF CACHE BOOL "" FORCE)
    set(BUILD_GMOCK OFF CACHE BOOL "" FORCE)
    add_subdirectory(/usr/src/googletest ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL SYSTEM)
  else()
    find_package(GTest REQUIRED)
  endif()
endif()

if(WIN32)
  # The shared GCC runtime and the threads library ship beside kelm-lib.dll;
  # copying them into bin/ lets the tests run under Wine as they are.
  if(CMAKE_SYSTEM_PROCESSOR MATCHES "86$|i686")
    set(kelm_triplet i686-w64-mingw32)
    set(kelm_libgcc libgcc_s_dw2-1.dll)
  else()
    set(kelm_triplet x86_64-w64-mingw32)
    set(kelm_libgcc libgcc_s_seh-1.dll)
  endif()
  file(GLOB kelm_gcc_dir /usr/lib/gcc/${kelm_triplet}/*-posix)
  list(GET kelm_gcc_dir 0 kelm_gcc_dir)
  set(KELM_RUNTIME_DLLS
    ${kelm_gcc_dir}/${kelm_libgcc}
    ${kelm_gcc_dir}/libstdc++-6.dll
    /usr/${kelm_triplet}/lib/libwinpthread-1.dll)
  file(COPY ${KELM_RUNTIME_DLLS} DESTINATION ${CMAKE_RUNTIME_OUTPUT_DIRECTORY})

  if(CMAKE_SYSTEM_PROCESSOR MATCHES "86$|i686")
    set(kelm_wine_arch i686)
  else()
    set(kelm_wine_arch x86_64)
  endif()
  set(CMAKE_CROSSCOMPILING_EMULATOR
      ${CMAKE_SOURCE_DIR}/cmake/wine-run.sh ${CMAKE_BINARY_DIR}/wineprefix ${kelm_wine_arch})
endif()
