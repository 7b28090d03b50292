# Fails unless README quotes the file EXAMPLE to the letter.
file(READ "${README}" readme)
file(READ "${EXAMPLE}" example)
string(FIND "${readme}" "```cpp\n${example}```" position)
if(position EQUAL -1)
    message(FATAL_ERROR "${README} does not quote ${EXAMPLE} as it is")
endif()
