# Warnings (errors in Debug) and the optional sanitizer build, applied to every target.
add_compile_options(-Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor)
add_compile_options($<$<CONFIG:Debug>:-Werror>)

if(KZF_SANITIZE)
  add_compile_options(-fsanitize=${KZF_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${KZF_SANITIZE})
endif()
