SUMMARY = "Access to the devices of an accelerator baseboard"
DESCRIPTION = "Reads, writes and clears properties of the baseboard's devices through the board \
maker's device library, libdevmgr.so.0, which the image has to bring along. The package \
${PN}-sim holds a simulated board in a folder where the loader does not look."
# The owners have not granted a licence yet.
LICENSE = "CLOSED"

# The archive that scripts/source-archive writes, beside this file or in a folder "files".
SRC_URI = "file://boardctl-${PV}.tar.gz"
S = "${WORKDIR}/boardctl-${PV}"

DEPENDS = "nlohmann-json"
DEPENDS += "${@bb.utils.contains('PTEST_ENABLED', '1', 'googletest', '', d)}"

inherit cmake ptest

# Manual page and completion are written by a program that runs while building.
EXTRA_OECMAKE = "-DCMAKE_BUILD_TYPE=MinSizeRel -DBOARDCTL_BUILD_CXX='${BUILD_CXX}'"
EXTRA_OECMAKE += "${@bb.utils.contains('PTEST_ENABLED', '1', '${PTEST_OPTIONS}', '-DBOARDCTL_TESTS=OFF', d)}"
PTEST_OPTIONS = "-DBOARDCTL_TESTS=ON -DBOARDCTL_GOOGLETEST:PATH= -DBOARDCTL_TEST_ROOT:PATH=${PTEST_PATH} \
    -DBOARDCTL_PYTEST=${bindir}/pytest -DCMAKE_GTEST_DISCOVER_TESTS_DISCOVERY_MODE=PRE_TEST"

do_install_ptest() {
    DESTDIR=${D} cmake --install ${B} --component ptest
}

PACKAGES =+ "${PN}-sim ${PN}-check ${PN}-bash-completion ${PN}-zsh-completion"
FILES:${PN}-sim = "${bindir}/boardctl-sim ${libdir}/boardctl/sim ${docdir}/boardctl-sim \
    ${datadir}/rlwrap/completions/boardctl-sim"
FILES:${PN}-check = "${bindir}/devmgr-check"
FILES:${PN}-bash-completion = "${datadir}/bash-completion"
FILES:${PN}-zsh-completion = "${datadir}/zsh"
FILES:${PN} += "${datadir}/rlwrap"

# The maker's library is not packaged here, and the simulated one is for nobody else.
INSANE_SKIP:${PN} += "file-rdeps"
INSANE_SKIP:${PN}-ptest += "file-rdeps"
PRIVATE_LIBS:${PN}-sim = "libdevmgr.so.0"
RDEPENDS:${PN}-sim = "${PN}"
RDEPENDS:${PN}-ptest = "${PN}-sim python3-pytest"
