# Run by CPack between installation and packing: adds what depends on the installed files, in the order in which one
# needs the other. All of it works on CPack's copies.
set(folder ${CPACK_TEMPORARY_INSTALL_DIRECTORY})

# Signs copies of the programs where STEWARD_SIGN_KEY and STEWARD_SIGN_CERT name PEM files; nothing is said of the key.
function(sign_programs)
    if("$ENV{STEWARD_SIGN_KEY}$ENV{STEWARD_SIGN_CERT}" STREQUAL "")
        return()
    endif()
    find_program(OSSLSIGNCODE osslsigncode)
    if(NOT OSSLSIGNCODE OR NOT EXISTS "$ENV{STEWARD_SIGN_KEY}" OR NOT EXISTS "$ENV{STEWARD_SIGN_CERT}")
        message(FATAL_ERROR "to sign, STEWARD_SIGN_KEY and STEWARD_SIGN_CERT must both name a file (PEM, the key without "
                            "a password), and osslsigncode must be installed")
    endif()
    foreach(name driverSteward.dll stewardHost.exe stewardConfig.exe)
        set(file ${folder}/bin/${name})
        execute_process(COMMAND ${OSSLSIGNCODE} sign -h sha256 -n driverSteward -st $ENV{SOURCE_DATE_EPOCH}
                -certs "$ENV{STEWARD_SIGN_CERT}" -key "$ENV{STEWARD_SIGN_KEY}" -in ${file} -out ${file}.signed
            RESULT_VARIABLE result OUTPUT_QUIET ERROR_QUIET)
        if(result)
            message(FATAL_ERROR "${name} could not be signed; try osslsigncode with this key and certificate by hand")
        endif()
        file(RENAME ${file}.signed ${file})
        file(CHMOD ${file} PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE
            WORLD_READ WORLD_EXECUTE)
    endforeach()
endfunction()

function(write_bill_of_materials)
    execute_process(COMMAND ${CPACK_RELEASE_SOURCE}/cmake/release/bill-of-materials ${folder} COMMAND_ERROR_IS_FATAL ANY)
endfunction()

function(write_sums)
    file(GLOB_RECURSE files LIST_DIRECTORIES false RELATIVE ${folder} ${folder}/*)
    set(sums "")
    foreach(file IN LISTS files)
        file(SHA256 ${folder}/${file} sum)
        string(APPEND sums "${sum}  ${file}\n")
    endforeach()
    file(WRITE ${folder}/SHA256SUMS ${sums})
endfunction()

sign_programs()
write_bill_of_materials()
write_sums()
foreach(file driverSteward.spdx.json SHA256SUMS)
    file(CHMOD ${folder}/${file} PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
endforeach()
