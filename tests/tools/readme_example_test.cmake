# cmake -P script: fails unless README holds EXAMPLE's text in a code block
# of LANGUAGE (cpp unless given), so the example a reader copies is the one
# the build compiles.
if(NOT LANGUAGE)
  set(LANGUAGE cpp)
endif()
file(READ ${README} readme)
file(READ ${EXAMPLE} example)
string(FIND "${readme}" "```${LANGUAGE}\n${example}```" at)
if(at EQUAL -1)
  message(FATAL_ERROR "README.md does not show ${EXAMPLE} as it stands; copy the file into its ${LANGUAGE} block")
endif()
