# Requires release scarthgap or later for CMake 3.25, and the layer meta-oe for nlohmann-json.
SUMMARY = "Access to the devices of an accelerator baseboard"
DESCRIPTION = "Reads, writes and clears properties of the baseboard's devices through the board \
maker's device library, libdevmgr.so.0, which the image has to provide. The package ${PN}-sim \
contains a simulated board in a directory that the dynamic loader does not search."
HOMEPAGE = "https://boardctl.example"
SECTION = "console/utils"
# The owners have not granted a licence yet.
LICENSE = "CLOSED"

# Created by scripts/source-archive. Put it next to this file or in a directory "files".
SRC_URI = "file://boardctl-${PV}.tar.gz"

# The board maker's library, or its directory. Set this in a .bbappend that also adds the library's
# recipe to DEPENDS. The tool is then linked against the library and requires it. The simulated board
# is not built, and neither are the tests, which need that board.
DEVMGR_LIBRARY ?= ""
SIMULATED = "${@'' if d.getVar('DEVMGR_LIBRARY') else '1'}"

inherit cmake ptest systemd

SYSTEMD_SERVICE:${PN} = "boardctl-export.service boardctl-export-once.service boardctl-export-once.timer"
SYSTEMD_AUTO_ENABLE:${PN} = "disable"

PTEST_ENABLED = "${@bb.utils.contains('DISTRO_FEATURES', 'ptest', d.getVar('SIMULATED'), '', d)}"

DEPENDS = "${@bb.utils.contains('SIMULATED', '1', 'nlohmann-json', '', d)}"
DEPENDS += "${@bb.utils.contains('PTEST_ENABLED', '1', 'googletest', '', d)}"

# A program that runs on the build machine generates the manual page and the completion files.
EXTRA_OECMAKE = "-DCMAKE_BUILD_TYPE=MinSizeRel -DBOARDCTL_BUILD_CXX='${BUILD_CXX}'"
EXTRA_OECMAKE += "-DBOARDCTL_SYSTEMD_UNITS:PATH=${systemd_system_unitdir}"
EXTRA_OECMAKE += "-DBOARDCTL_DEVMGR_LIBRARY:PATH=${DEVMGR_LIBRARY}"
EXTRA_OECMAKE += "${@bb.utils.contains('PTEST_ENABLED', '1', '${PTEST_OPTIONS}', '-DBOARDCTL_TESTS=OFF', d)}"
PTEST_OPTIONS = "-DBOARDCTL_TESTS=ON -DBOARDCTL_GOOGLETEST:PATH= -DBOARDCTL_TEST_ROOT:PATH=${PTEST_PATH}"

do_install_ptest() {
    DESTDIR=${D} cmake --install ${B} --component ptest
}

PACKAGES =+ "${@bb.utils.contains('SIMULATED', '1', '${PN}-sim', '', d)}"
PACKAGES =+ "${PN}-check ${PN}-bash-completion ${PN}-zsh-completion"
FILES:${PN}-sim = "${bindir}/boardctl-sim ${bindir}/boardctl-journal ${libdir}/boardctl/sim \
    ${docdir}/boardctl-sim \
    ${datadir}/rlwrap/completions/boardctl-sim"
FILES:${PN}-check = "${bindir}/devmgr-check"
FILES:${PN}-bash-completion = "${datadir}/bash-completion"
FILES:${PN}-zsh-completion = "${datadir}/zsh"
FILES:${PN} += "${datadir}/rlwrap ${systemd_system_unitdir} ${libdir}/boardctl/libboardctl-record.so"

# Only ${PN}-sim uses the simulated board's library, and the recorder and the library of the tests are
# only preloaded. No package may satisfy another package's dependency on a library of such a name, so
# PRIVATE_LIBS hides these libraries, and SKIP_FILEDEPS turns off rpm's own per-file dependencies.
PRIVATE_LIBS:${PN} = "libboardctl-record.so"
PRIVATE_LIBS:${PN}-sim = "libdevmgr.so.0"
PRIVATE_LIBS:${PN}-ptest = "libskip_wait.so"
SKIP_FILEDEPS:${PN} = "${SIMULATED}"
SKIP_FILEDEPS:${PN}-sim = "1"
SKIP_FILEDEPS:${PN}-ptest = "1"
RDEPENDS:${PN}-sim = "${PN}"
RDEPENDS:${PN}-ptest += "${PN}-sim python3-datetime python3-json python3-pytest python3-shell python3-terminal"
