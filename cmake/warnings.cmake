# Compiler warnings and the sanitizer build, applied to every target of the project.
function(vqx_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wshadow -Wformat=2 -Wno-format-nonliteral
    -Wno-missing-field-initializers)
  # Texts are cut to their fields on purpose; GCC's guesses about that are noise.
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    target_compile_options(${target} PRIVATE -Wno-format-truncation)
  endif()
  if(VQX_WERROR)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
endfunction()

if(VQX_SANITIZE)
  add_compile_options(-fsanitize=address,undefined -fno-omit-frame-pointer -fno-sanitize-recover=undefined)
  add_link_options(-fsanitize=address,undefined)
endif()

# The fuzz build instruments every library for coverage; the fuzz targets add the driver.
if(VQX_FUZZ)
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()
