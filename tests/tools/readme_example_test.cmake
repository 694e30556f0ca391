# cmake -P script: fails unless README holds EXAMPLE's text in a code block,
# so the example a reader copies is the one the build compiles.
file(READ ${README} readme)
file(READ ${EXAMPLE} example)
string(FIND "${readme}" "```cpp\n${example}```" at)
if(at EQUAL -1)
  message(FATAL_ERROR "README.md does not show ${EXAMPLE} as it stands; copy the file into its cpp block")
endif()
