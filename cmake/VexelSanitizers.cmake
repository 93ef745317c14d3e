# Sanitizers stop at the first finding. A build with them is for the tests only.
function(vexel_target_sanitizers target)
  if(VEXEL_SANITIZE)
    target_compile_options(${target} PRIVATE -fsanitize=${VEXEL_SANITIZE} -fno-sanitize-recover=all
                                             -fno-omit-frame-pointer)
    if(VEXEL_SANITIZE MATCHES "undefined")
      target_compile_options(${target} PRIVATE -fsanitize=float-cast-overflow)
    endif()
    # However small the rasters of the tests are, their loops run on a team of threads, which the sanitizers shall see.
    target_compile_definitions(${target} PRIVATE VEXEL_TEAM_NANOSECONDS=0)
    target_link_options(${target} PRIVATE -fsanitize=${VEXEL_SANITIZE})
  endif()
endfunction()
