tesk_fuzz(plugin plugin_fuzz.cpp tesk_loaded)
