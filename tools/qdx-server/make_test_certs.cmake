# Makes a throw-away test CA and a server certificate for api.qdx.example
# signed by it, in OUT_DIR, and a self-signed certificate for the same name
# that no client trusts (a server whose certificate must be refused). Run at build time; the keys are never committed.
#   cmake -DOPENSSL=/usr/bin/openssl -DOUT_DIR=<dir> -P make_test_certs.cmake
file(MAKE_DIRECTORY ${OUT_DIR})
file(WRITE ${OUT_DIR}/server_ext.cnf
  "basicConstraints=CA:FALSE\n"
  "keyUsage=critical,digitalSignature,keyEncipherment\n"
  "extendedKeyUsage=serverAuth\n"
  "subjectAltName=DNS:api.qdx.example,IP:127.0.0.1\n")

function(run_openssl)
  execute_process(COMMAND ${OPENSSL} ${ARGN}
    WORKING_DIRECTORY ${OUT_DIR}
    RESULT_VARIABLE result OUTPUT_QUIET ERROR_VARIABLE errors)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "openssl ${ARGN} failed: ${errors}")
  endif()
endfunction()

run_openssl(req -x509 -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes
  -keyout ca.key -out ca.pem -days 3650 -subj "/CN=QDX Test CA"
  -addext "basicConstraints=critical,CA:TRUE"
  -addext "keyUsage=critical,keyCertSign,cRLSign")
run_openssl(req -new -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes
  -keyout server.key -out server.csr -subj "/CN=api.qdx.example")
run_openssl(x509 -req -in server.csr -CA ca.pem -CAkey ca.key -CAcreateserial
  -out server.pem -days 3650 -extfile server_ext.cnf)
run_openssl(req -x509 -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes
  -keyout untrusted.key -out untrusted.pem -days 3650 -subj "/CN=api.qdx.example"
  -addext "subjectAltName=DNS:api.qdx.example,IP:127.0.0.1")
