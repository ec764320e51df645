# Puts the libraries that a Windows program needs beside it, so that build/windows-release/bin runs as it is.
if(WIN32)
  file(GLOB netplay_runtime "${NETPLAY_QT_WINDOWS}/bin/*.dll")
  file(COPY ${netplay_runtime} "${NETPLAY_QT_WINDOWS}/plugins/platforms" "${NETPLAY_QT_WINDOWS}/plugins/styles"
    DESTINATION "${CMAKE_RUNTIME_OUTPUT_DIRECTORY}")
endif()
