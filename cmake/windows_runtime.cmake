if(WIN32)
  # Puts the libraries that a Windows program needs beside it, so that build/windows-release/bin runs as it is.
  file(GLOB netplay_runtime "${NETPLAY_QT_WINDOWS}/bin/*.dll")
  file(COPY ${netplay_runtime} "${NETPLAY_QT_WINDOWS}/plugins/platforms" "${NETPLAY_QT_WINDOWS}/plugins/styles"
    DESTINATION "${CMAKE_RUNTIME_OUTPUT_DIRECTORY}")

  # Qt's Chinese texts, of Debian's package, where a Qt beside a program looks for them.
  find_file(NETPLAY_QT_TEXTS qtbase_zh_CN.qm PATHS /usr/share/qt5/translations /usr/share/qt/translations
    NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH REQUIRED)
  file(COPY "${NETPLAY_QT_TEXTS}" DESTINATION "${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/translations")

  # Equal sources give equal programs, wherever the checkout lies and whenever they are linked.
  add_compile_options("-ffile-prefix-map=${PROJECT_SOURCE_DIR}=." "-ffile-prefix-map=${NETPLAY_QT_WINDOWS}=qt")
  add_link_options(-Wl,--no-insert-timestamp)
endif()
