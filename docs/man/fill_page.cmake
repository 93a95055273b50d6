# Puts the version and a text into a page's frame: cmake -DFRAME= -DTEXT= -DVERSION= -DOUT= -P fill_page.cmake
# A program's text begins with its synopsis, which stands before what the frame says.
cmake_minimum_required(VERSION 3.25)
file(READ "${FRAME}" page)
file(READ "${TEXT}" text)
if(page MATCHES "@SYNOPSIS@")
    string(FIND "${text}" "# OPTIONS" end)
    string(SUBSTRING "${text}" 0 ${end} synopsis)
    string(SUBSTRING "${text}" ${end} -1 text)
    string(REPLACE "@SYNOPSIS@" "${synopsis}" page "${page}")
endif()
string(REPLACE "@VERSION@" "${VERSION}" page "${page}")
string(REPLACE "@TEXT@" "${text}" page "${page}")
file(WRITE "${OUT}" "${page}")
