# For release scarthgap or later, which has CMake 3.25, with the layer meta-oe, which has
# nlohmann-json.
SUMMARY = "Access to the devices of an accelerator baseboard"
DESCRIPTION = "Reads, writes and clears properties of the baseboard's devices through the board \
maker's device library, libdevmgr.so.0, which the image has to bring along. The package \
${PN}-sim holds a simulated board in a folder where the loader does not look."
HOMEPAGE = "https://boardctl.example"
SECTION = "console/utils"
# The owners have not granted a licence yet.
LICENSE = "CLOSED"

# The archive that scripts/source-archive writes, beside this file or in a folder "files".
SRC_URI = "file://boardctl-${PV}.tar.gz"

# The board maker's library, or its folder, for a .bbappend that also names its recipe in DEPENDS.
# The tool is then linked with it and requires it, and neither the simulated board nor the tests,
# which run on that board, are made.
DEVMGR_LIBRARY ?= ""
SIMULATED = "${@'' if d.getVar('DEVMGR_LIBRARY') else '1'}"

inherit cmake ptest

PTEST_ENABLED = "${@bb.utils.contains('DISTRO_FEATURES', 'ptest', d.getVar('SIMULATED'), '', d)}"

DEPENDS = "${@bb.utils.contains('SIMULATED', '1', 'nlohmann-json', '', d)}"
DEPENDS += "${@bb.utils.contains('PTEST_ENABLED', '1', 'googletest', '', d)}"

# Manual page and completion are written by a program that runs while building.
EXTRA_OECMAKE = "-DCMAKE_BUILD_TYPE=MinSizeRel -DBOARDCTL_BUILD_CXX='${BUILD_CXX}'"
EXTRA_OECMAKE += "-DBOARDCTL_DEVMGR_LIBRARY:PATH=${DEVMGR_LIBRARY}"
EXTRA_OECMAKE += "${@bb.utils.contains('PTEST_ENABLED', '1', '${PTEST_OPTIONS}', '-DBOARDCTL_TESTS=OFF', d)}"
PTEST_OPTIONS = "-DBOARDCTL_TESTS=ON -DBOARDCTL_GOOGLETEST:PATH= -DBOARDCTL_TEST_ROOT:PATH=${PTEST_PATH}"

do_install_ptest() {
    DESTDIR=${D} cmake --install ${B} --component ptest
}

PACKAGES =+ "${@bb.utils.contains('SIMULATED', '1', '${PN}-sim', '', d)}"
PACKAGES =+ "${PN}-check ${PN}-bash-completion ${PN}-zsh-completion"
FILES:${PN}-sim = "${bindir}/boardctl-sim ${libdir}/boardctl/sim ${docdir}/boardctl-sim \
    ${datadir}/rlwrap/completions/boardctl-sim"
FILES:${PN}-check = "${bindir}/devmgr-check"
FILES:${PN}-bash-completion = "${datadir}/bash-completion"
FILES:${PN}-zsh-completion = "${datadir}/zsh"
FILES:${PN} += "${datadir}/rlwrap"

# The simulated board's library is for ${PN}-sim alone, and the one that tests load before others
# for the tests. Neither may be installed because the tool needs a library of that name, so the
# packages' requirements are those of PRIVATE_LIBS, without the ones that rpm finds in each file.
PRIVATE_LIBS:${PN}-sim = "libdevmgr.so.0"
PRIVATE_LIBS:${PN}-ptest = "libskip_wait.so"
SKIP_FILEDEPS:${PN} = "${SIMULATED}"
SKIP_FILEDEPS:${PN}-sim = "1"
SKIP_FILEDEPS:${PN}-ptest = "1"
RDEPENDS:${PN}-sim = "${PN}"
RDEPENDS:${PN}-ptest += "${PN}-sim python3-datetime python3-json python3-pytest python3-shell python3-terminal"
