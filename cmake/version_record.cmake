# The version record's constants: name, version, milestone and build stamp.
#
# The stamp is the time in UTC when the build was configured, or SOURCE_DATE_EPOCH where that is set, so that two
# builds of one release can be the same to the byte.
set(MORLA_VERSION_TEXT "4.20-03")
set(MORLA_MILESTONE "-")
string(TIMESTAMP MORLA_BUILD_STAMP "%Y/%m/%d-%H:%M" UTC)
