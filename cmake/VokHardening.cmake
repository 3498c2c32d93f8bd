# vok_harden(TARGET): options for what runs as root on a host: the library and the installed programs. Not for the tests,
# each of which is a process of its own and would resolve every symbol at its start.
include(CheckCXXCompilerFlag)
foreach(flag -fstack-protector-strong -fstack-clash-protection -fcf-protection)
  string(MAKE_C_IDENTIFIER "VOK_HAS${flag}" has)
  check_cxx_compiler_flag(${flag} ${has})
  if(${has})
    list(APPEND vok_hardening_options ${flag})
  endif()
endforeach()

# The checked functions need an optimiser, and the sanitizers intercept the unchecked ones.
set(vok_fortified $<CONFIG:Release,RelWithDebInfo,MinSizeRel>)
if(VOK_SANITIZE OR VOK_COVERAGE OR VOK_FUZZ)
  set(vok_fortified 0)
endif()

function(vok_harden target)
  target_compile_options(${target} PRIVATE ${vok_hardening_options})
  target_compile_definitions(${target} PRIVATE $<${vok_fortified}:_FORTIFY_SOURCE=3>)
  target_link_options(${target} PRIVATE -Wl,-z,relro,-z,now,-z,noexecstack)
  get_target_property(type ${target} TYPE)
  if(type STREQUAL "EXECUTABLE")
    target_link_options(${target} PRIVATE -pie)
    # The library's place relative to the program, in the build as where they are installed. CMake pads a search path that
    # installing replaces with an empty element, which names the current directory.
    set_target_properties(${target} PROPERTIES BUILD_WITH_INSTALL_RPATH ON INSTALL_RPATH "$ORIGIN/../lib")
  endif()
endfunction()
