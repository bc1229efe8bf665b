tesk_fuzz(options options_fuzz.cpp tesk_options)
tesk_fuzz(parsers parsers_fuzz.cpp tesk_options)
tesk_fuzz(preset preset_fuzz.cpp tesk_options)
