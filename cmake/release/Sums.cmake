# Run by CPack when the archive is made: gives it an order, owners and times that are the same for whoever packs, and puts
# the bill of materials and the sums beside it.
find_program(STRIP_NONDETERMINISM strip-nondeterminism REQUIRED)
execute_process(COMMAND ${STRIP_NONDETERMINISM} --type zip --timestamp $ENV{SOURCE_DATE_EPOCH} ${CPACK_PACKAGE_FILES}
    COMMAND_ERROR_IS_FATAL ANY)
set(bill ${CPACK_PACKAGE_DIRECTORY}/${CPACK_PACKAGE_FILE_NAME}.spdx.json)
file(COPY_FILE ${CPACK_TEMPORARY_INSTALL_DIRECTORY}/driverSteward.spdx.json ${bill})
set(sums "")
foreach(file ${bill} ${CPACK_PACKAGE_FILES})
    cmake_path(GET file FILENAME name)
    file(SHA256 ${file} sum)
    string(APPEND sums "${sum}  ${name}\n")
endforeach()
file(WRITE ${CPACK_PACKAGE_DIRECTORY}/SHA256SUMS ${sums})
