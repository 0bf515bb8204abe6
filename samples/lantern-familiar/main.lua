-- Lantern Familiar: a small lantern that floats after the player and lights the room.

local mod = tarnwick.mod("lantern-familiar")

-- The brass oil can (content/items.xml) feeds the flame; without oil the lantern only glimmers.
local GLIMMER = 0.35
local SECONDS_PER_OIL = 90

local oil = 0

local function brightness()
    if oil <= 0 then
        return GLIMMER
    end
    -- The last ten seconds fade, so that nobody is left in the dark without a warning.
    return math.max(GLIMMER, math.min(1, oil / 10))
end

mod:on("run-started", function(run)
    oil = SECONDS_PER_OIL
    run.player:add_familiar("lantern")
end)

mod:on("item-collected", function(player, item)
    if item.name == "oil-can" and player:has_familiar("lantern") then
        oil = oil + SECONDS_PER_OIL
        player:say(mod:text("oil-found"))
    end
end)

mod:on("familiar-update", function(familiar, seconds)
    if familiar.name ~= "lantern" then
        return
    end
    oil = math.max(0, oil - seconds)
    familiar:follow(familiar.owner, { distance = 48, sway = 6 })
    familiar:set_light({ radius = 160 * brightness(), colour = "#ffc861" })
end)

mod:on("enemy-update", function(enemy)
    local lantern = enemy.room:find_familiar("lantern")
    if lantern and oil > 0 and enemy:has_trait("shy-of-light") then
        enemy:flee_from(lantern.position, { within = 120 })
    end
end)
