# Compiler warnings and the sanitizer build, applied to every target of the project.
function(vqx_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wshadow -Wformat=2 -Wno-format-nonliteral
    -Wno-missing-field-initializers -Wno-format-truncation)
  if(VQX_WERROR)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
endfunction()

if(VQX_SANITIZE)
  add_compile_options(-fsanitize=address,undefined -fno-omit-frame-pointer -fno-sanitize-recover=undefined)
  add_link_options(-fsanitize=address,undefined)
endif()
