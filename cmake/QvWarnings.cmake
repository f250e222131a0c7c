# Compile options shared by every target of the project.
# -ffp-contract=off: results are fixed to the last bit, so no fused multiply-add may be formed.
# -fno-semantic-interposition: calls between exported functions of one library may be inlined
# (nobody interposes this library's symbols).
function(qv_target_defaults target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -ffp-contract=off
                                           -fno-semantic-interposition)
  if(QV_SANITIZE)
    target_compile_options(${target} PRIVATE -fsanitize=address,undefined -fno-omit-frame-pointer
                                             -fno-sanitize-recover=all)
    target_link_options(${target} PRIVATE -fsanitize=address,undefined)
  endif()
endfunction()
