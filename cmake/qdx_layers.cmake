# Reads the layer table (src/layers.txt) for the build and for the include
# check, so that both assign every file to the same layer.
#
#   qdx_read_layers(<table file>)
#     sets QDX_LAYERS (the names, bottom first), QDX_LAYER_<name>_PATTERNS
#     (as written) and QDX_LAYER_<name>_REGEXES, in the caller's scope.
#   qdx_layer_of(<path from the repository root> <out variable>)
#     the last layer whose pattern matches the path, or "" when none does.
#   qdx_layer_index(<layer> <out variable>)
#     the layer's place in the table, 0 for the bottom one.

macro(qdx_read_layers table)
  set(QDX_LAYERS "")
  file(STRINGS "${table}" _qdx_lines REGEX "^[a-z]")
  foreach(_qdx_line IN LISTS _qdx_lines)
    string(REGEX REPLACE "[ \t]+" ";" _qdx_fields "${_qdx_line}")
    list(POP_FRONT _qdx_fields _qdx_name)
    if(_qdx_name IN_LIST QDX_LAYERS)
      message(FATAL_ERROR "${table}: the layer ${_qdx_name} is listed twice")
    endif()
    list(APPEND QDX_LAYERS ${_qdx_name})
    set(QDX_LAYER_${_qdx_name}_PATTERNS ${_qdx_fields})
    set(QDX_LAYER_${_qdx_name}_REGEXES "")
    foreach(_qdx_pattern IN LISTS _qdx_fields)
      # Only letters, digits, '_', '-', '/', '.' and '*' appear in patterns.
      string(REPLACE "." "\\." _qdx_regex "${_qdx_pattern}")
      string(REPLACE "*" "[^/]*" _qdx_regex "${_qdx_regex}")
      list(APPEND QDX_LAYER_${_qdx_name}_REGEXES "^${_qdx_regex}$")
    endforeach()
  endforeach()
  if(NOT QDX_LAYERS)
    message(FATAL_ERROR "${table}: no layers")
  endif()
endmacro()

function(qdx_layer_of path out)
  set(found "")
  foreach(layer IN LISTS QDX_LAYERS)
    foreach(regex IN LISTS QDX_LAYER_${layer}_REGEXES)
      if(path MATCHES "${regex}")
        set(found ${layer})
        break()
      endif()
    endforeach()
  endforeach()
  set(${out} "${found}" PARENT_SCOPE)
endfunction()

function(qdx_layer_index layer out)
  list(FIND QDX_LAYERS "${layer}" index)
  set(${out} ${index} PARENT_SCOPE)
endfunction()

# qdx_sort_into_layers(<kind> <path from the repository root>...)
#   appends each file, as an absolute path, to QDX_LAYER_<layer>_<kind> in
#   the caller's scope; a file in no layer stops the configure.
function(qdx_sort_into_layers kind)
  foreach(path IN LISTS ARGN)
    qdx_layer_of(${path} layer)
    if(NOT layer)
      message(FATAL_ERROR "${path} belongs to no layer: give it one in src/layers.txt")
    endif()
    list(APPEND QDX_LAYER_${layer}_${kind} ${PROJECT_SOURCE_DIR}/${path})
  endforeach()
  foreach(layer IN LISTS QDX_LAYERS)
    set(QDX_LAYER_${layer}_${kind} ${QDX_LAYER_${layer}_${kind}} PARENT_SCOPE)
  endforeach()
endfunction()
