# End-to-end checks, included from tests/CMakeLists.txt. Both need node and `npm ci` in
# tools/validate (bash scripts/setup.sh does it); without them they fail and say so.

# Every examples/*.json exported as .glb and .gltf by qvhost, then checked by the validator with
# tools/validate/allow-list.json. Exit status 77 means there is no example scene yet.
add_test(NAME examples_validate
         COMMAND bash ${CMAKE_CURRENT_LIST_DIR}/validate_examples.sh $<TARGET_FILE:qvhost>
         WORKING_DIRECTORY ${PROJECT_SOURCE_DIR})
set_tests_properties(examples_validate PROPERTIES
  SKIP_RETURN_CODE 77
  TIMEOUT 1200
  LABELS e2e)

# The validator wrapper itself: that the allow-list narrows as it says and broken files fail.
add_test(NAME validate_tool
         COMMAND node --test ${CMAKE_CURRENT_LIST_DIR}/validate_tool.test.js
         WORKING_DIRECTORY ${PROJECT_SOURCE_DIR})
set_tests_properties(validate_tool PROPERTIES
  TIMEOUT 300
  LABELS e2e)

# Hostile scenes (tests/hostile/manifest.txt): qvhost save must refuse, fail cleanly or write a
# valid file, never crash, hang or touch the earlier output of a failed save.
add_test(NAME hostile_scenes
         COMMAND bash ${PROJECT_SOURCE_DIR}/tests/hostile/run.sh $<TARGET_FILE:qvhost>
         WORKING_DIRECTORY ${PROJECT_SOURCE_DIR})
set_tests_properties(hostile_scenes PROPERTIES
  TIMEOUT 900
  LABELS e2e)
