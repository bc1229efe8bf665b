tesk_fuzz(options options_fuzz.cpp tesk_options)
