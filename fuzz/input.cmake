tesk_fuzz(header_probe header_probe_fuzz.cpp tesk_input)
tesk_fuzz(pcm_load pcm_load_fuzz.cpp tesk_input)
