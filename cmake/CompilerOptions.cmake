# One interface target that every target of this project links: warnings as errors, hardening, sanitizers.
add_library(lumamon_options INTERFACE)

target_compile_options(lumamon_options INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wold-style-cast -Wnon-virtual-dtor
  -Woverloaded-virtual -Wimplicit-fallthrough -Werror
  # Where sources are joined, the compiler takes a fixture in an unnamed namespace for one that others share.
  $<$<AND:$<BOOL:${CMAKE_UNITY_BUILD}>,$<COMPILE_LANG_AND_ID:CXX,GNU>>:-Wno-subobject-linkage>)

# Text from bytes is a decision each time: no silent conversion between QString and char.
target_compile_definitions(lumamon_options INTERFACE
  QT_NO_CAST_FROM_ASCII QT_NO_CAST_TO_ASCII QT_NO_KEYWORDS)

# No place of the builder's in what ships. A debug build keeps them, for the debugger.
target_compile_options(lumamon_options INTERFACE $<$<NOT:$<CONFIG:Debug>>:
  -ffile-prefix-map=${CMAKE_BINARY_DIR}=/usr/src/lumadoc-diagnostics/build
  -ffile-prefix-map=${CMAKE_SOURCE_DIR}=/usr/src/lumadoc-diagnostics>)

if(LUMAMON_SANITIZERS)
  # The C++ library looks as well: no sanitizer sees that an empty optional is read.
  target_compile_definitions(lumamon_options INTERFACE _GLIBCXX_ASSERTIONS)
  target_compile_options(lumamon_options INTERFACE
    # Optimising takes the compiler three times as long here and the tests hardly less; fuzzing takes hours.
    -fsanitize=${LUMAMON_SANITIZERS} -fno-sanitize-recover=all -fno-omit-frame-pointer
    $<IF:$<BOOL:${LUMAMON_FUZZING}>,-O1,-O0>)
  target_link_options(lumamon_options INTERFACE -fsanitize=${LUMAMON_SANITIZERS})
  if(LUMAMON_SANITIZERS MATCHES "thread")
    # Qt's headers hold a fence that the thread sanitizer does not follow.
    target_compile_options(lumamon_options INTERFACE -Wno-tsan)
  endif()
else()
  # Tests compile in less than half the time without optimisation.
  set(unoptimized $<BOOL:$<TARGET_PROPERTY:LUMAMON_UNOPTIMIZED>>)
  # The compiler takes what it lacks of fortification for the next lower one.
  target_compile_options(lumamon_options INTERFACE
    -fstack-protector-strong -fstack-clash-protection -Wformat=2 -Werror=format-security $<${unoptimized}:-O0>
    $<$<NOT:$<OR:${unoptimized},$<CONFIG:Debug>>>:-D_FORTIFY_SOURCE=3>)
  if(CMAKE_SYSTEM_PROCESSOR STREQUAL "x86_64")
    target_compile_options(lumamon_options INTERFACE -fcf-protection=full)
  elseif(CMAKE_SYSTEM_PROCESSOR STREQUAL "aarch64")
    target_compile_options(lumamon_options INTERFACE -mbranch-protection=standard)
  endif()
  if(NOT APPLE)
    target_link_options(lumamon_options INTERFACE -Wl,-z,relro,-z,now -Wl,--as-needed)
  endif()
endif()
