# The native-messaging manifest templates that the program carries as
# resources, made at configure time from the browser add-on's own manifest,
# so that the add-on, the host's manifest and the ids the program allows
# always agree.
#
# The add-on's id is what the browsers derive from its "key" (the public key,
# base64 DER): the first 32 hex digits of SHA-256 over the DER bytes, each
# digit 0-f written as a letter a-p. openssl decodes the base64; CMake has no
# base64 decoder, and its strings cannot hold the DER's zero bytes.
#
# Results:
#   QV_ADDON_ID                  the add-on's id
#   QV_MANIFEST_TEMPLATE_FILES   the template files of resources 300-303
#   QV_EMBEDDED_RESOURCES_SOURCE a C++ file with the same bytes, for the
#                                platforms that have no resource section
#   QV_MANIFEST_RESOURCE_SCRIPT  (Windows) the .rc file that compiles them in

set(QV_ADDON_MANIFEST ${PROJECT_SOURCE_DIR}/extension/manifest.json)
set_property(DIRECTORY ${PROJECT_SOURCE_DIR} APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${QV_ADDON_MANIFEST})

set(QV_MANIFEST_OUT ${CMAKE_BINARY_DIR}/generated/native_host)
file(MAKE_DIRECTORY ${QV_MANIFEST_OUT})

# Writes the text to the file only when it differs, so that an unchanged
# template does not rebuild what depends on it.
function(qv_write_if_changed path text)
  file(WRITE ${path}.new "${text}")
  file(COPY_FILE ${path}.new ${path} ONLY_IF_DIFFERENT)
  file(REMOVE ${path}.new)
endfunction()

function(qv_addon_id_from_key key out)
  find_program(QV_OPENSSL openssl REQUIRED)
  qv_write_if_changed(${QV_MANIFEST_OUT}/addon-key.b64 "${key}")
  execute_process(
    COMMAND ${QV_OPENSSL} base64 -d -A -in ${QV_MANIFEST_OUT}/addon-key.b64 -out ${QV_MANIFEST_OUT}/addon-key.der
    RESULT_VARIABLE decoded)
  if(NOT decoded EQUAL 0)
    message(FATAL_ERROR "the \"key\" of ${QV_ADDON_MANIFEST} is not base64")
  endif()
  file(SIZE ${QV_MANIFEST_OUT}/addon-key.der der_size)
  if(der_size EQUAL 0)
    message(FATAL_ERROR "the \"key\" of ${QV_ADDON_MANIFEST} is empty")
  endif()
  file(SHA256 ${QV_MANIFEST_OUT}/addon-key.der digest)
  string(SUBSTRING "${digest}" 0 32 digest)
  string(TOLOWER "${digest}" digest)
  set(id "")
  foreach(i RANGE 31)
    string(SUBSTRING "${digest}" ${i} 1 digit)
    string(FIND "0123456789abcdef" "${digit}" value)
    string(SUBSTRING "abcdefghijklmnop" ${value} 1 letter)
    string(APPEND id "${letter}")
  endforeach()
  set(${out} ${id} PARENT_SCOPE)
endfunction()

file(READ ${QV_ADDON_MANIFEST} qv_addon_manifest_text)
string(JSON qv_addon_key ERROR_VARIABLE qv_key_error GET "${qv_addon_manifest_text}" key)
if(qv_key_error)
  message(FATAL_ERROR "${QV_ADDON_MANIFEST} has no \"key\": ${qv_key_error}")
endif()
qv_addon_id_from_key("${qv_addon_key}" QV_ADDON_ID)
message(STATUS "Browser add-on id: ${QV_ADDON_ID}")

# CRLF line ends, two-space indent, no line end after the closing brace.
function(qv_manifest_template host_name out)
  set(nl "\r\n")
  set(origins
    aabbccddeeffgghhiijjkkllmmnnoopp ppoonnmmllkkjjiihhggffeeddccbbaa
    abcdefghijklmnopabcdefghijklmnop ponmlkjihgfedcbaponmlkjihgfedcba ${QV_ADDON_ID})
  set(text "{${nl}")
  string(APPEND text "  \"name\": \"${host_name}\",${nl}")
  string(APPEND text "  \"description\": \"Quorvane Audio Content Classifier Native Host\",${nl}")
  string(APPEND text "  \"path\": \"\${NativeHostExePath}\",${nl}")
  string(APPEND text "  \"type\": \"stdio\",${nl}")
  string(APPEND text "  \"allowed_origins\": [${nl}")
  list(LENGTH origins count)
  math(EXPR last "${count} - 1")
  foreach(i RANGE ${last})
    list(GET origins ${i} origin)
    set(comma ",")
    if(i EQUAL last)
      set(comma "")
    endif()
    string(APPEND text "    \"chrome-extension://${origin}/\"${comma}${nl}")
  endforeach()
  string(APPEND text "  ]${nl}}")
  set(${out} "${text}" PARENT_SCOPE)
endfunction()

# Resource 300 is the host the program registers; 301-303 are the same
# manifest for the USB host, carried for the installer and loaded by nothing.
qv_manifest_template("com.quorvane.contentclassifier" qv_template_main)
qv_manifest_template("com.quorvane.contentclassifier.usb" qv_template_usb)
set(QV_MANIFEST_TEMPLATE_FILES "")
foreach(id 300 301 302 303)
  if(id EQUAL 300)
    set(text "${qv_template_main}")
  else()
    set(text "${qv_template_usb}")
  endif()
  set(path ${QV_MANIFEST_OUT}/manifest_template_${id}.json)
  qv_write_if_changed(${path} "${text}")
  list(APPEND QV_MANIFEST_TEMPLATE_FILES ${path})
endforeach()

# The same bytes as C++ arrays, for Linux and the simulation.
set(qv_arrays "")
set(qv_entries "")
foreach(id 300 301 302 303)
  file(READ ${QV_MANIFEST_OUT}/manifest_template_${id}.json hex HEX)
  string(REGEX REPLACE "([0-9a-f][0-9a-f])" "0x\\1," bytes "${hex}")
  string(REGEX REPLACE "(0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,)" "\\1\n    "
                       bytes "${bytes}")
  string(APPEND qv_arrays "const uint8_t kManifestTemplate${id}[] = {\n    ${bytes}\n};\n")
  string(APPEND qv_entries "    {${id}, kRtRcData, kEmbeddedLanguage, kManifestTemplate${id}, sizeof kManifestTemplate${id}},\n")
endforeach()
set(QV_EMBEDDED_RESOURCES_SOURCE ${QV_MANIFEST_OUT}/embedded_resource_table.cpp)
qv_write_if_changed(${QV_EMBEDDED_RESOURCES_SOURCE} "// Made by cmake/NativeHostManifest.cmake from extension/manifest.json.
#include \"platform/embedded_resources.h\"

namespace qv {

namespace {

${qv_arrays}
const EmbeddedResource kResources[] = {
${qv_entries}};

}  // namespace

std::span<const EmbeddedResource> EmbeddedResourceTable() { return kResources; }

}  // namespace qv
")

if(WIN32)
  # LANGUAGE 9, 1 is English (United States), 1033.
  set(qv_rc "// Made by cmake/NativeHostManifest.cmake.\nLANGUAGE 9, 1\n")
  foreach(id 300 301 302 303)
    string(APPEND qv_rc "${id} RCDATA \"${QV_MANIFEST_OUT}/manifest_template_${id}.json\"\n")
  endforeach()
  set(QV_MANIFEST_RESOURCE_SCRIPT ${QV_MANIFEST_OUT}/native_host_manifests.rc)
  qv_write_if_changed(${QV_MANIFEST_RESOURCE_SCRIPT} "${qv_rc}")
endif()
