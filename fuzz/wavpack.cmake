tesk_fuzz(wavpack wavpack_fuzz.cpp tesk_input)
