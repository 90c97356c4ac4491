#version 330 core

in vec2 uv;
out vec4 pixel;

uniform int width;
uniform int height;
uniform float slow;
uniform float middle;
uniform float fast;
uniform vec4 ground;
uniform vec4 hands;
uniform vec4 accent;

const float pi = 3.14159265;

// How much of a pixel lies inside a shape, from the distance to its edge.
float inside(float d) { return 1.0 - smoothstep(-1.0, 1.0, d * 0.5 * float(min(width, height))); }

// Turns clockwise, so that the direction of the angle becomes up.
vec2 turned(vec2 p, float angle) {
  return vec2(p.x * cos(angle) - p.y * sin(angle), p.x * sin(angle) + p.y * cos(angle));
}

float hand(vec2 p, float angle, float from, float to, float thick) {
  vec2 q = turned(p, angle);
  q.y -= clamp(q.y, from, to);
  return length(q) - thick;
}

float marks(vec2 p, float count, float from, float to, float thick) {
  float slice = 2.0 * pi / count;
  float angle = atan(p.x, p.y);
  return hand(p, slice * floor(angle / slice + 0.5), from, to, thick);
}

void main() {
  vec2 p = (2.0 * uv - 1.0) * vec2(width, height) / float(min(width, height));
  float r = length(p);

  vec3 color = ground.rgb * (1.25 - 0.45 * r);
  vec3 face = ground.rgb * 1.9 + 0.05 * (p.y + 0.6);
  color = mix(color, ground.rgb * 0.45, inside(abs(length(p - vec2(0.0, -0.03)) - 0.84) - 0.06));
  color = mix(color, face, inside(r - 0.88));
  color = mix(color, hands.rgb * 0.85, inside(abs(r - 0.88) - 0.012));
  color = mix(color, hands.rgb * 0.45, inside(marks(p, 60.0, 0.80, 0.815, 0.004)));
  color = mix(color, hands.rgb, inside(marks(p, 12.0, 0.72, 0.81, 0.011)));

  vec2 lower = p + vec2(-0.012, 0.025);
  float shadow = min(hand(lower, slow, -0.1, 0.42, 0.03), hand(lower, middle, -0.12, 0.66, 0.02));
  color *= 1.0 - 0.45 * (1.0 - smoothstep(-0.02, 0.04, shadow));
  color = mix(color, hands.rgb, inside(hand(p, slow, -0.1, 0.42, 0.028)));
  color = mix(color, hands.rgb, inside(hand(p, middle, -0.12, 0.66, 0.019)));
  color = mix(color, accent.rgb, inside(hand(p, fast, -0.18, 0.74, 0.007)));
  color = mix(color, accent.rgb, inside(r - 0.042));
  color = mix(color, ground.rgb, inside(r - 0.015));

  pixel = vec4(color, hands.a);
}
