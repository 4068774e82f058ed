# The Debian package: `cpack -G DEB` in the build folder. Its library dependencies are read off
# the binaries; what Sorix loads only at run time (QML modules, fonts) is named here.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME sorix)
set(CPACK_PACKAGE_VENDOR "The Sorix developers")
set(CPACK_PACKAGE_CONTACT "The Sorix developers <developers@sorix.org>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "louder, limited and equalised sound on every speaker")
set(CPACK_PACKAGE_DESCRIPTION
    "Sorix takes over the computer's whole audio output and plays it back louder\n\
(100 % to 800 %), peak-limited and equalised, on one or several speakers at\n\
once, each with its own volume and delay so that they play in step. A tray\n\
icon opens its panel. It works on PipeWire and on PulseAudio.")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION sound)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_DEPENDS
    "qml6-module-qtqml, qml6-module-qtquick, qml6-module-qtquick-window, \
qml6-module-qtquick-shapes, qml6-module-qtquick-layouts, qml6-module-qtqml-workerscript, \
qml6-module-qt5compat-graphicaleffects, fonts-inter, fonts-material-design-icons-iconfont")
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "pipewire-pulse | pulseaudio")
include(CPack)
