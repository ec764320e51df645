if(WIN32)
  # Puts the libraries that a Windows program needs beside it, so that build/windows-release/bin runs as it is.
  file(GLOB netplay_runtime "${NETPLAY_QT_WINDOWS}/bin/*.dll")
  file(COPY ${netplay_runtime} "${NETPLAY_QT_WINDOWS}/plugins/platforms" "${NETPLAY_QT_WINDOWS}/plugins/styles"
    DESTINATION "${CMAKE_RUNTIME_OUTPUT_DIRECTORY}")

  # Equal sources give equal programs, wherever the checkout lies and whenever they are linked.
  add_compile_options("-ffile-prefix-map=${PROJECT_SOURCE_DIR}=." "-ffile-prefix-map=${NETPLAY_QT_WINDOWS}=qt")
  add_link_options(-Wl,--no-insert-timestamp)
endif()
