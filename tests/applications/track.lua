-- Adds a track to the session that ardour's new_session has made in FOLDER.
AudioEngine:set_backend("None (Dummy)", "", "")
local session = assert(load_session("FOLDER", "session"))
session:new_audio_track(1, 2, nil, 1, "Track", ARDOUR.PresentationInfo.max_order, ARDOUR.TrackMode.Normal, true)
session:save_state("")
close_session()
quit()
